#!/usr/bin/env python3
"""judgeSchema.py SCHEMA CASES: prints for each line of CASES whether the schema accepts it, "yes" or "no". Each case is an object
with the member "value", and "isStatement" if it is the payload of a checkpoint."""
import json
import sys

import jsonschema

schema = json.load(open(sys.argv[1], encoding="utf-8"))
jsonschema.Draft202012Validator.check_schema(schema)
line_judge = jsonschema.Draft202012Validator(schema)
statement_judge = jsonschema.Draft202012Validator({"$ref": "#/$defs/statement", "$defs": schema["$defs"]})
for text in open(sys.argv[2], encoding="utf-8"):
    case = json.loads(text)
    judge = statement_judge if case["isStatement"] else line_judge
    print("yes" if judge.is_valid(case["value"]) else "no")
