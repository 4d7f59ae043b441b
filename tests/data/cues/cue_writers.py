#!/usr/bin/python3
"""Writes one cue sheet PDF per real writer into the folder given: reportlab
with a standard font, cairo with a subset font (composite font, two-byte
codes, /ToUnicode), and a PostScript file for ps2pdf whose font renames its
codes (/Encoding /Differences)."""
import os
import sys

import cairo
from reportlab.pdfgen import canvas

out = sys.argv[1]

c = canvas.Canvas(os.path.join(out, "reportlab.pdf"), invariant=1)
c.drawString(72, 780, "Reel 7")
c.drawString(72, 760, "7M1 01:04:00:00 01:04:05:00 Sirens")
c.drawString(72, 740, "7M2 01:04:10:00 Quiet")
c.showPage()
c.save()

surface = cairo.PDFSurface(os.path.join(out, "cairo.pdf"), 595, 842)
ctx = cairo.Context(surface)
ctx.select_font_face("DejaVu Sans")
ctx.set_font_size(11)
for y, line in ((60, "Reel 3"), (80, "3M1  01:00:20:00  01:00:24:00  Гром → ♪"),
                (100, "3M2  01:00:30:10  Café door")):
    ctx.move_to(50, y)
    ctx.show_text(line)
ctx.show_page()
surface.finish()

# Codes 132..226 draw the characters 32..126.
ps = ["%!PS",
      "/Helvetica findfont dup length dict begin",
      "{1 index /FID ne {def} {pop pop} ifelse} forall",
      "/Encoding 256 array def 0 1 255 {Encoding exch /.notdef put} for",
      "32 1 126 {dup 100 add exch StandardEncoding exch get Encoding 3 1 roll put} for",
      "currentdict end /Shifted exch definefont pop",
      "/Shifted findfont 11 scalefont setfont"]
for x, y, line in ((72, 760, "6M1 01:03:00:00 01:03:04:00 Glass"),
                   (90, 740, "6M2 01:03:10:00 Bells")):
    shown = "".join("\\%03o" % (ord(ch) + 100) for ch in line)
    ps.append("%d %d moveto (%s) show" % (x, y, shown))
ps.append("showpage")
with open(os.path.join(out, "shifted.ps"), "w") as f:
    f.write("\n".join(ps) + "\n")
