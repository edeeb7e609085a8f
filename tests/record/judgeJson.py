#!/usr/bin/env python3
"""judgeJson.py CASES: prints each line of CASES, a JSON text, in the canonical form of RFC 8785."""
import json
import sys


def sorted_members(value):
    """The value with the members of all objects sorted by UTF-16 code units."""
    if isinstance(value, dict):
        return {key: sorted_members(value[key]) for key in sorted(value, key=lambda key: key.encode("utf-16-be"))}
    return [sorted_members(item) for item in value] if isinstance(value, list) else value


for line in open(sys.argv[1], "rb"):
    text = json.dumps(sorted_members(json.loads(line)), separators=(",", ":"), ensure_ascii=False)
    sys.stdout.buffer.write(text.encode() + b"\n")
