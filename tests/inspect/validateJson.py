#!/usr/bin/env python3
"""validateJson.py SCHEMA DOCUMENT...: checks documents against a copy of the schema that allows no other members. Also
checks that the schema rejects documents with one fault each."""
import copy
import json
import sys

import jsonschema

KEYWORDS = {"$schema", "title", "description", "type", "properties", "required", "$defs", "$ref", "items", "enum", "const",
            "pattern", "minLength", "maxLength", "minimum", "uniqueItems", "anyOf", "additionalProperties"}


def closed(node, is_schema=True):
    """The schema with "additionalProperties": false wherever members are listed."""
    if isinstance(node, list):
        return [closed(item) for item in node]
    if not isinstance(node, dict):
        return node
    if is_schema:
        unknown = set(node) - KEYWORDS
        assert not unknown, f"keywords that check nothing: {unknown}"
    result = {key: closed(value, key not in ("properties", "$defs")) if key not in ("enum", "const") else value
              for key, value in node.items()}
    if is_schema and "properties" in node:
        result.setdefault("additionalProperties", False)
    return result


def first(node, key):
    """The first object below `node` that has the member `key`. Skips "arguments", whose member names are free."""
    if isinstance(node, dict):
        if key in node:
            return node
        node = [value for name, value in node.items() if name != "arguments"]
    if isinstance(node, list):
        for item in node:
            found = first(item, key)
            if found is not None:
                return found
    return None


# Each row is a member and a value that the schema must reject.
FAULTS = [("schema", 2), ("schema", None), ("status", 3), ("status", "0"), ("files", {}), ("format", "Install image"), ("by", "magic"),
          ("size", -1), ("size", "4"), ("role", "body"), ("cover", ""), ("verdict", "good"), ("proof", ["trust"]),
          ("result", True), ("severity", "warning"), ("address", "0x8000000\n"), ("address", 134217728), ("kind", "letter"),
          ("state", "guessed"), ("letter", "FF"), ("needed", "no"), ("counts", 1), ("failures", None), ("command", None)]


def main():
    schema = json.load(open(sys.argv[1], encoding="utf-8"))
    jsonschema.Draft202012Validator.check_schema(schema)
    strict = jsonschema.Draft202012Validator(closed(schema))
    open_one = jsonschema.Draft202012Validator(schema)
    missing = set(key for key, _ in FAULTS)
    for path in sys.argv[2:]:
        document = json.load(open(path, encoding="utf-8"))
        for error in strict.iter_errors(document):
            sys.exit(f"{path}: {error.json_path}: {error.message}")
        for key, value in FAULTS:
            broken = copy.deepcopy(document)
            place = first(broken, key)
            if place is None:
                continue
            missing.discard(key)
            place[key] = value
            if open_one.is_valid(broken):
                sys.exit(f"{path}: the schema accepts {key}: {value!r}")
    if missing:
        sys.exit(f"in no document: {sorted(missing)}")


main()
