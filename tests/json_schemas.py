#!/usr/bin/python3
"""The JSON forms against their schemas: every table, configuration and model file
of the test data, and new tables, as show --json gives them, validate; documents
with a fault the tool refuses do not.

Usage: json_schemas.py TOOL SCHEMA-DIR DATA-DIR

Runs under Debian's /usr/bin/python3 with python3-jsonschema; without it the test
fails (scripts/install-deps.sh installs it), it is never skipped.
"""

import json
import os
import subprocess
import sys
import tempfile

try:
    import jsonschema
except ImportError:
    sys.exit("json_schemas: python3-jsonschema is missing (scripts/install-deps.sh installs it)")

tool, schema_dir, data_dir = sys.argv[1:4]
failures = []


def schema(name):
    with open(os.path.join(schema_dir, name), encoding="utf-8") as f:
        s = json.load(f)
    jsonschema.Draft202012Validator.check_schema(s)
    return jsonschema.Draft202012Validator(s)


validators = {
    "ctb": schema("plotstyletable.schema.json"),
    "stb": schema("plotstyletable.schema.json"),
    "pc3": schema("pc3.schema.json"),
    "pmp": schema("pmp.schema.json"),
}
groups = {"ctb": "style", "stb": "style", "pc3": "pc3", "pmp": "pmp"}


def shown(path):
    ext = path.rsplit(".", 1)[-1]
    out = subprocess.run([tool, groups[ext], "show", "--json", path], capture_output=True, text=True, check=True)
    return ext, json.loads(out.stdout)


def expect_valid(path):
    ext, doc = shown(path)
    errors = sorted(validators[ext].iter_errors(doc), key=lambda e: list(e.absolute_path))
    for e in errors[:3]:
        failures.append(f"{path}: {'/'.join(map(str, e.absolute_path))}: {e.message}")
    return doc


checked = 0
for name in sorted(os.listdir(data_dir)):
    if name.rsplit(".", 1)[-1] in validators:
        expect_valid(os.path.join(data_dir, name))
        checked += 1
if checked < 10:
    failures.append(f"only {checked} files of the test data were checked")

with tempfile.TemporaryDirectory() as tmp:
    for kind in ("ctb", "stb"):
        path = os.path.join(tmp, "new." + kind)
        subprocess.run([tool, "style", "new", kind, path], capture_output=True, check=True)
        expect_valid(path)
        checked += 1

    # The schemas are as strict as build: faults it refuses fail them too.
    _, ctb = shown(os.path.join(data_dir, "color-dependent-factory.ctb"))
    _, pc3 = shown(os.path.join(data_dir, "printer-hpgl-extra-blocks.pc3"))
    bad = []
    doc = json.loads(json.dumps(ctb)); doc["styles"][12]["screen"] = 140; bad.append(("ctb", doc))
    doc = json.loads(json.dumps(ctb)); doc["styles"][0]["colour"] = 1; bad.append(("ctb", doc))
    doc = json.loads(json.dumps(ctb)); del doc["aci_table"]; bad.append(("ctb", doc))
    doc = json.loads(json.dumps(ctb)); doc["foreign"] = [{"name": "x", "kind": "block", "value": "1"}]; bad.append(("ctb", doc))
    doc = json.loads(json.dumps(pc3)); doc["media"]["number_of_copies"] = 0; bad.append(("pc3", doc))
    doc = json.loads(json.dumps(pc3)); doc["custom"][0]["value"] = "yes"; bad.append(("pc3", doc))
    doc = json.loads(json.dumps(pc3)); doc["res_color_mem"]["ism_max"] = 4294967295; bad.append(("pc3", doc))
    for i, (ext, doc) in enumerate(bad):
        if validators[ext].is_valid(doc):
            failures.append(f"faulty document {i} passes the {ext} schema")

for f in failures:
    print("json_schemas:", f, file=sys.stderr)
print(f"json_schemas: {checked} documents validated, {len(bad)} faulty ones refused; {len(failures)} failures")
sys.exit(1 if failures else 0)
