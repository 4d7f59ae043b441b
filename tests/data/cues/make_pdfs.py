#!/usr/bin/python3
"""Writes the PDF cue sheets the cue import tests read. Run from this folder
with Debian's python3-reportlab; the outputs are committed next to it."""
from reportlab.pdfgen import canvas


def plain(c, x, y, text):
    c.drawString(x, y, text)


def edicue():
    c = canvas.Canvas("edicue.pdf", pageCompression=0, invariant=1)
    c.setCreator("EdiCue 3.1 cue sheet")
    c.setAuthor("Scoring stage")
    lines = [
        "Film cues, reel 1",
        "1M1",
        "IN: 01:00:00:00",
        "REASON: hit the door",
        "OUT: 01:00:05:00",
        "Door slams",
        "1",
        "1M2",
        "IN: 01:00:10:00",
        "OUT: 01:00:12:00",
        "Never closed",
        "2M1",
        "IN: 01:01:00:00",
        "OUT: 01:01:02:00",
        "Swell",
        "1",
    ]
    y = 780
    for line in lines:
        plain(c, 72, y, line)
        y -= 20
    c.showPage()
    c.save()


def filmlight():
    c = canvas.Canvas("filmlight.pdf", pageCompression=0, invariant=1)
    c.setAuthor("FilmLight")
    c.setCreator("Sheet writer")
    plain(c, 300, 800, "Cue list")
    rows = [
        ["1M1", "01:00:00:00", "01:00:05:00", "Hello ", "big ", "world", "note 1"],
        ["Cue", "In", "Out", "Text", "Notes"],
        ["2M1", "01:00:10;00", "01:00:11:00", "Hit", "n2"],
    ]
    y = 760
    for row in rows:
        x = 50
        for cell in row:
            plain(c, x, y, cell)
            x += 70
        y -= 20
    c.showPage()
    c.save()


def generic():
    c = canvas.Canvas("generic.pdf", pageCompression=0, invariant=1)
    c.setAuthor("filmlight editor")  # not exactly "filmlight": generic rows
    for x, y, text in [(50, 720, "A"), (50, 700, "1M1 01:00:00:00 "), (200, 700, "Fade in"),
                       (50, 680, "1M2 01:00:10:00 "), (200, 680, "Out")]:
        plain(c, x, y, text)
    c.showPage()
    plain(c, 50, 700, "2M1 01:00:20:00 second page")
    c.showPage()
    c.save()


def raw_operators():
    """TJ arrays, text positions in real numbers, the line operators and a
    scaled graphics state, written by hand."""
    content = (b"BT /F1 12 Tf 1 0 0 1 50.5 700.25 Tm [(1M1 ) -250 (01:00:00:00)] TJ ET\n"
               b"BT 1 0 0 1 60 680 Tm [(7 01:00:02:00) (skipped) 120 ( Go)] TJ ET\n"
               b"BT 1 0 0 1 70.5 660 Tm (8 01:00:03:00 at 70.5) Tj [] TJ ET\n"
               b"BT 1 0 0 1 50 640 Tm [(9M1) -1200 (01:00:04:00) -1200 (Bell) -300 (tower)] TJ ET\n"
               b"q 2 0 0 2 10 20 cm BT /F1 6 Tf 14 TL 1 0 0 1 5 300 Tm (A) Tj T* (B) Tj\n"
               b"10 -20 Td (C) Tj 0 -5 TD (D) Tj (E) ' 1 2 (F) \" ET Q\n"
               b"BT 1 0 0 1 7 8 Tm (G) Tj ET\n")
    objects = [
        b"<< /Type /Catalog /Pages 2 0 R >>",
        b"<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        b"<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 4 0 R"
        b" /Resources << /Font << /F1 5 0 R >> >> >>",
        b"<< /Length %d >>\nstream\n" % len(content) + content + b"endstream",
        b"<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>",
        b"<< /Producer (hand) /Nested << /Author (Deep) >> /Creator <FEFF004800E5006E0064> >>",
    ]
    out = bytearray(b"%PDF-1.4\n")
    offsets = []
    for number, body in enumerate(objects, start=1):
        offsets.append(len(out))
        out += b"%d 0 obj\n" % number + body + b"\nendobj\n"
    xref = len(out)
    out += b"xref\n0 %d\n0000000000 65535 f \n" % (len(objects) + 1)
    for offset in offsets:
        out += b"%010d 00000 n \n" % offset
    out += (b"trailer\n<< /Size %d /Root 1 0 R /Info 6 0 R >>\nstartxref\n%d\n%%%%EOF\n"
            % (len(objects) + 1, xref))
    with open("operators.pdf", "wb") as f:
        f.write(out)


if __name__ == "__main__":
    edicue()
    filmlight()
    generic()
    raw_operators()
