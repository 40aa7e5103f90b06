"""Checks a report in JSON, and prints what it says in short lines.

    check_json.py schema FILE SCHEMA    nothing if the file fits; status 77 without the package jsonschema
    check_json.py sarif FILE            every result, and the rules that they name
    check_json.py trace FILE            the spans of each unit, indented as they nest

Fails at bytes that are no UTF-8, at anything that is no JSON, and where a reader would stumble.
"""
import json, sys, urllib.parse

kind, path = sys.argv[1:3]
with open(path, "rb") as file:
    document = json.loads(file.read().decode("utf-8"))

if kind == "schema":
    try:
        import jsonschema
    except ImportError:
        sys.exit(77)
    with open(sys.argv[3], encoding="utf-8") as file:
        schema = json.load(file)
    jsonschema.Draft7Validator.check_schema(schema)
    jsonschema.validate(document, schema)

if kind == "sarif":
    (run,) = document["runs"]
    rules = run["tool"]["driver"]["rules"]
    assert len({rule["id"] for rule in rules}) == len(rules), "a rule stands twice"
    for result in run["results"]:
        assert rules[result["ruleIndex"]]["id"] == result["ruleId"], result
        place = "-"
        for location in result.get("locations", []):
            physical = location["physicalLocation"]
            place = physical["artifactLocation"]["uri"]
            assert urllib.parse.urlsplit(place).scheme in ("", "file"), place
            if "region" in physical:
                place += ":%d" % physical["region"]["startLine"]
        print(result["level"], result["ruleId"], place, json.dumps(result["message"]["text"]))
    (invocation,) = run["invocations"]
    print("succeeded" if invocation["executionSuccessful"] else "failed")
    for rule in rules:
        if rule["id"] in ("E2048", "W8017", "W8084"):
            configuration = rule["defaultConfiguration"]
            print(rule["id"], configuration["level"], configuration.get("enabled", True),
                  rule["shortDescription"]["text"])

if kind == "trace":
    events = document["traceEvents"]
    names = {event["tid"]: event["args"]["name"] for event in events if event["ph"] == "M"}
    open_spans = {}  # of each thread, innermost last
    for event in events:
        assert event["pid"] == 1, event
        if event["ph"] == "M":
            continue
        spans = open_spans.setdefault(event["tid"], [])
        while spans and spans[-1]["ts"] + spans[-1]["dur"] < event["ts"]:
            spans.pop()
        start, end = event["ts"], event["ts"] + event.get("dur", 0)
        if spans:
            # Times have three decimals: a sum of two may be off in the last place.
            assert spans[-1]["ts"] <= start and end <= spans[-1]["ts"] + spans[-1]["dur"] + 0.002, event
        else:
            assert event["cat"] == "unit" and names[event["tid"]] == event["name"], event
        arguments = " ".join("%s=%s" % (key, event["args"][key]) for key in sorted(event["args"]))
        print("%d %s%s [%s] %s" % (event["tid"], "  " * len(spans), json.dumps(event["name"]), event["cat"], arguments))
        assert event["ph"] in "Xi", event
        if event["ph"] == "X":
            spans.append(event)
