#!/usr/bin/python3
"""Writes the lists other programs give a stage into the folder given, with
Python's csv module as the spreadsheet writer: a comma list with a header and
quoted fields (delimiters, quotes and line breaks inside), a semicolon list
with millisecond times, a tab list without a header, and a DAW's marker list
saved as CSV."""
import csv
import os
import sys

out = sys.argv[1]


def write(name, rows, **dialect):
    with open(os.path.join(out, name), "w", newline="", encoding="utf-8") as f:
        csv.writer(f, **dialect).writerows(rows)


write("spotting.csv", [
    ["Cue", "Character", "Start", "End", "Dialogue", "Take"],
    ["1M1", "ANNA", "01:00:10:05", "01:00:12:00", 'She said "go", then left', "3"],
    ["1M2", "BEN", "01:00:20;10", "", "Line one\nline two", ""],
    ["1M3", "ANNA", "later", "", "no time, skipped", "1"],
    ["1M4", "CARL", "01:00:30:00", "soon", "out unreadable", "2"],
])
write("subtitles_de.csv", [
    ["ID", "In", "Out", "Text", "Notes"],
    ["A1", "01:00:10,200", "01:00:11,000", "Bonjour; ça va", "x"],
], delimiter=";")
write("loops.tsv", [["7", "01:02:03:04", "01:02:05:00", "Door", "slam"]], dialect="excel-tab")
write("markers.csv", [
    ["#", "Name", "Start", "Comments"],
    ["1", "Hit", "01:00:05:10", "check sync"],
])
