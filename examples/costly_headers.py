#!/usr/bin/env python3
"""Which headers cost most in a run, from the file of --trace:  costly_headers.py TRACE [ COUNT ]

The time of a header is its own: without that of the headers that it includes.
"""
import collections
import json
import sys

trace = json.load(open(sys.argv[1], encoding="utf-8", errors="replace"))
count = int(sys.argv[2]) if len(sys.argv) > 2 else 10
spans = [event for event in trace["traceEvents"] if event["ph"] == "X" and event["cat"] in ("unit", "include")]
# The outer one of two that begin together comes first.
spans.sort(key=lambda event: (event["pid"], event["tid"], event["ts"], -event["dur"]))

own = collections.Counter()
times = collections.Counter()
lines = collections.Counter()
opened = []
for event in spans:
    thread = event["pid"], event["tid"]
    while opened and (opened[-1][0] != thread or event["ts"] >= opened[-1][1]):
        opened.pop()
    if opened:
        own[opened[-1][2]] -= event["dur"]
    name = event["name"].replace("\\", "/")
    own[name] += event["dur"]
    if event["cat"] == "include":
        times[name] += 1
        lines[name] += event["args"]["lines"]
    opened.append((thread, event["ts"] + event["dur"], name))

whole = sum(own.values())
print("own time  share  times    lines  header")
for name, taken in [(name, taken) for name, taken in own.most_common() if name in times][:count]:
    print(f"{taken / 1000:5.1f} ms {100 * taken / whole:5.1f}% {times[name]:6} {lines[name]:8}  {name}")
