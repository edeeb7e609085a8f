#!/usr/bin/env python3
"""validateJobs.py SCHEMA JOB...: checks production jobs against the schema, and that the schema rejects jobs with one
fault each."""
import copy
import json
import sys

import jsonschema

# Each row is a path to a member and a value that the schema must reject there. "+" in front adds a member.
FAULTS = [(["version"], 2), (["version"], "1"), (["product"], "a b"), (["product"], "x" * 65), (["+produkt"], "x"),
          (["keys"], []), (["keys", "image"], "path"), (["keys", "image", "file"], ""), (["keys", "+a b"], {"file": "x"}),
          (["keys", "image", "+token"], "x"), (["allowDevelopmentKeys"], "no"), (["steps"], []),
          (["steps", 0, "job"], "key-pair"), (["steps", 0, "+file"], "saved.json"), (["steps", 0, "+timeout"], 0),
          (["steps", 0, "+timeout"], 1.5), (["steps", 0, "+timeout"], 86401), (["steps", 0, "values", "device"], 1109),
          (["steps", 0, "values", "firmware"], ["blink.elf"]),
          (["steps", 0, "values", "firmware"], [{"path": "a", "besides": "b"}]),
          (["steps", 0, "values", "out"], "a\0"), (["steps", 0, "+proof"], {"json": "x"}),
          (["steps", 0, "+proof"], {"public": ["a"]}), (["steps", 0, "+proof"], {"blob": []}),
          (["steps", 0, "+copies"], [{"from": "a", "to": "b"}]), (["steps", 0, "+copies"], [{"to": "{out}/b"}]),
          (["steps", 0, "+copies"], [{"from": "a", "to": "{out}/b", "expand": "yes"}]), (["steps", 0, "+x"], 1)]


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        schema = json.load(file)
    jsonschema.Draft202012Validator.check_schema(schema)
    validator = jsonschema.Draft202012Validator(schema)
    for path in sys.argv[2:]:
        with open(path, encoding="utf-8") as file:
            job = json.load(file)
        for error in validator.iter_errors(job):
            print(f"{path}: {error.json_path}: {error.message}")
    with open(sys.argv[2], encoding="utf-8") as file:
        good = json.load(file)
    for place, value in FAULTS:
        broken = copy.deepcopy(good)
        node = broken
        for key in place[:-1]:
            node = node[key]
        key = place[-1]
        assert key.startswith("+") or key in node, place
        node[key.lstrip("+")] = value
        if validator.is_valid(broken):
            print(f"the schema accepts {place}: {value!r}")


main()
