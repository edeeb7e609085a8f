#!/usr/bin/env python3
"""validateStatus.py SCHEMA STATUS...: checks documents of "status --json" against the schema, and that the schema
rejects the first one with one fault each."""
import copy
import json
import sys

import jsonschema

# Each row is a path to a member and a value that the schema must reject there. "+" in front adds a member.
FAULTS = [(["version"], 2), (["ledger"], ""), (["time"], "2026-01-31 23:59:59"), (["time"], 1), (["+x"], 1),
          (["products"], {}), (["products", 0, "proven"], -1), (["products", 0, "proven"], "1"),
          (["products", 0, "+rate"], 1), (["failures", 0, "serial"], None), (["failedDevices"], 2.5),
          (["intervalLength"], 2 ** 53), (["intervals", 0, "start"], "2026-01-31T23:59:59Z"),
          (["keys", 0, "fingerprint"], "0" * 63), (["keys", 0, "fingerprint"], "A" * 64), (["keys", 0, "retired"], 0),
          (["epochs", 0, "id"], ""), (["epochs", 0, "number"], 0), (["stations", 0, "lastLine"], None)]


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        schema = json.load(file)
    jsonschema.Draft202012Validator.check_schema(schema)
    validator = jsonschema.Draft202012Validator(schema)
    documents = []
    for path in sys.argv[2:]:
        with open(path, encoding="utf-8") as file:
            text = file.read()
        document = json.loads(text)
        documents.append(document)
        for error in validator.iter_errors(document):
            print(f"{path}: {error.json_path}: {error.message}")
        # Without numbers beyond 2^53 and characters beyond 16 bits, this is RFC 8785.
        if text != json.dumps(document, sort_keys=True, separators=(",", ":"), ensure_ascii=False) + "\n":
            print(f"{path}: not one line of canonical JSON")
    for place, value in FAULTS:
        broken = copy.deepcopy(documents[0])
        node = broken
        for key in place[:-1]:
            node = node[key]
        key = place[-1]
        assert key.startswith("+") or key in node, place
        node[key.lstrip("+")] = value
        if validator.is_valid(broken):
            print(f"the schema accepts {place}: {value!r}")


main()
