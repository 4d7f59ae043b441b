#!/usr/bin/python3
"""Writes PDF cue sheets laid out over several pages into the folder given,
with Debian's python3-reportlab: a table with one text item per cell (as
office suites and spreadsheets write them), a filmlight list without header
lines, and an EdiCue sheet whose REASON line comes after the cue's text. The cue import tests read them, and read the
table again after Ghostscript has rewritten it."""
import os
import sys

from reportlab.lib.pagesizes import A4
from reportlab.lib.styles import getSampleStyleSheet
from reportlab.pdfgen import canvas
from reportlab.platypus import PageBreak, Paragraph, SimpleDocTemplate, Spacer, Table, TableStyle

out = sys.argv[1]


def footer(c, doc):
    c.setFont("Helvetica", 9)
    c.drawString(300, 30, "Page %d" % doc.page)


def table():
    style = getSampleStyleSheet()["BodyText"]
    wrapped = Paragraph("Horns swell under the long dissolve into the harbour at dawn", style)
    page1 = [["Cue", "In", "Out", "Text", "Notes"],
             ["1M1", "01:00:00:00", "01:00:05:00", "Main title", "strings"],
             ["1M2", "01:00:10:00", "", "Door slams", ""],
             ["1M3", "01:00:20;12", "01:00:30:00", wrapped, "brass"]]
    page2 = [["2M1", "01:01:00:00", "01:01:04:00", "Swell", "hold"],
             ["2M2", "01:01:10:00", "01:01:12:00", "Sting", ""]]
    widths = [50, 80, 80, 170, 80]
    top = TableStyle([("VALIGN", (0, 0), (-1, -1), "TOP")])
    doc = SimpleDocTemplate(os.path.join(out, "table.pdf"), pagesize=A4, invariant=1)
    doc.build([Paragraph("Reel 1 cue list", getSampleStyleSheet()["Title"]), Spacer(1, 20),
               Table(page1, colWidths=widths, style=top), PageBreak(),
               Table(page2, colWidths=widths, style=top)],
              onFirstPage=footer, onLaterPages=footer)


def filmlight():
    c = canvas.Canvas(os.path.join(out, "filmlight.pdf"), invariant=1)
    c.setAuthor("FilmLight")
    pages = [[["1M1", "01:00:00:00", "01:00:05:00", "Hello", "n1"],
              ["1M2", "01:00:10:00", "01:00:11:00", "World", "n2"]],
             [["1M3", "01:00:20:00", "01:00:21:00", "Again", "n3"]]]
    for rows in pages:
        y = 760
        for row in rows:
            for i, cell in enumerate(row):
                c.drawString(50 + 80 * i, y, cell)
            y -= 20
        c.showPage()
    c.save()


def edicue():
    c = canvas.Canvas(os.path.join(out, "edicue.pdf"), invariant=1)
    c.setCreator("EdiCue 3.1 cue sheet")
    lines = ["1M1", "IN: 01:00:00:00", "OUT: 01:00:05:00", "Door slams", "REASON: hit the door", "1",
             "1M2", "IN: 01:00:10:00"]
    pages = [lines[:5], lines[5:] + ["OUT: 01:00:12:00", "Swell", "1"]]
    for page in pages:
        y = 780
        for line in page:
            c.drawString(72, y, line)
            y -= 20
        c.showPage()
    c.save()


table()
filmlight()
edicue()
