"""validate_json.py SCHEMA FILE...: says what of each file is not as the schema wants it."""
import json
import sys

import jsonschema


def without_duplicates(pairs):
    members = dict(pairs)
    if len(members) != len(pairs):
        raise ValueError("a member comes twice: " + ", ".join(name for name, _ in pairs))
    return members


def refused(word):
    raise ValueError("no JSON: " + word)


def load(path):
    with open(path, encoding="utf-8") as file:
        return json.load(file, object_pairs_hook=without_duplicates, parse_constant=refused)


schema = load(sys.argv[1])
kind = jsonschema.validators.validator_for(schema)
kind.check_schema(schema)
faults = 0
for path in sys.argv[2:]:
    try:
        for error in kind(schema).iter_errors(load(path)):
            best = jsonschema.exceptions.best_match([error])
            print(f"{path}: {best.json_path}: {best.message[:300]}")
            faults += 1
    except ValueError as error:
        print(f"{path}: {error}")
        faults += 1
sys.exit(faults > 0)
