"""Reads messages with the problem matcher of a file of tasks, as the editor does: tasks.json MESSAGES."""
import json, re, sys

with open(sys.argv[1], encoding="utf-8") as file:
    matcher = json.load(file)["tasks"][0]["problemMatcher"]
pattern = matcher["pattern"]
# What the editor makes of the letters; it takes the matcher's severity for any other.
severities = {"e": "error", "w": "warning", "i": "info"}
with open(sys.argv[2], encoding="utf-8") as file:
    for line in file:
        match = re.search(pattern["regexp"], line.rstrip("\n"))
        if match:
            field = lambda name: match.group(pattern[name])
            severity = severities.get(field("severity").lower(), matcher["severity"])
            print("%s|%s|%s|%s|%s" % (field("file"), field("line"), severity, field("code"), field("message")))
