#include "cues/internal/PdfTextScanner.h"

#include "base/Diagnostics.h"
#include "cues/internal/PdfFontDecoder.h"

// qpdf's own smart pointers are not used here.
#define POINTERHOLDER_TRANSITION 4
#include <qpdf/QPDFObjectHandle.hh>
#include <qpdf/QPDFPageObjectHelper.hh>

#include <cmath>
#include <optional>
#include <string>
#include <vector>

namespace pdftext {
namespace {

// A spacing in a TJ array moves on by thousandths of the font's size: a
// word space is about a quarter of it, the gap between two table cells
// (their padding) most of it or more.
constexpr double kWordGap = 200;
constexpr double kCellGap = 800;
// A string placed at most this many font sizes on from the one before it, on
// the same line of the same text block, is the next glyph of the same word.
constexpr double kGlyphStepEm = 1.2;
// Nested graphics states beyond this are a damaged stream, not a page.
constexpr size_t kMaxSavedStates = 256;

// An affine matrix [a b 0; c d 0; e f 1], points as row vectors.
struct Matrix {
    double a = 1, b = 0, c = 0, d = 1, e = 0, f = 0;

    // This matrix applied first, then m.
    Matrix then(const Matrix& m) const {
        return {a * m.a + b * m.c, a * m.b + b * m.d,       c * m.a + d * m.c,
                c * m.b + d * m.d, e * m.a + f * m.c + m.e, e * m.b + f * m.d + m.f};
    }
};

Matrix translation(double x, double y) {
    return {1, 0, 0, 1, x, y};
}

std::int64_t whole(double value) {
    if (!std::isfinite(value) || std::fabs(value) > 1e15)
        return 0;
    return std::llround(value);
}

class Scanner : public QPDFObjectHandle::ParserCallbacks {
public:
    Scanner(ScanLog& log, PdfFontDecoder& fonts, int page, QList<PDFStringTableItem>& items)
        : m_log(log), m_fonts(fonts), m_page(page), m_items(items) {}

    void handleObject(QPDFObjectHandle object) override {
        if (object.isOperator()) {
            handleOperator(object.getOperatorValue());
            m_operands.clear();
        } else {
            m_operands.push_back(object);
        }
    }
    void handleEOF() override {}

private:
    void handleOperator(const std::string& op) {
        if (op != "Td" && op != "Tf" && op != "Tj")
            m_glyphStep = false;
        if (op == "Tj" || op == "'" || op == "\"") {
            if (op != "Tj") // ' and " move to the next line first; the string is on top
                nextLine();
            if (auto text = pop(); text && text->isString())
                add(textOf(*text));
        } else if (op == "TJ") {
            opTJ();
        } else if (op == "Tm" || op == "cm") {
            if (const std::optional<Matrix> m = matrixOperand()) {
                if (op == "cm")
                    m_ctm = m->then(m_ctm);
                else
                    m_lineMatrix = m_textMatrix = *m;
            }
        } else if (op == "Td" || op == "TD") {
            const std::optional<double> x = number(0), y = number(1);
            if (x && y) {
                if (op == "TD")
                    m_leading = -*y;
                moveLine(*x, *y);
                // Writers that place every glyph (Qt) move on by at most
                // about one glyph's width along the line between strings.
                m_glyphStep = op == "Td" && *y == 0 && *x > 0 && *x <= kGlyphStepEm * m_fontSize;
            }
        } else if (op == "T*") {
            nextLine();
        } else if (op == "TL") {
            m_leading = number(0).value_or(m_leading);
        } else if (op == "Tf") {
            if (m_operands.size() >= 2 && m_operands.front().isName())
                m_fonts.selectFont(m_operands.front().getName());
            m_fontSize = number(1).value_or(m_fontSize);
        } else {
            handleStateOperator(op);
        }
    }

    void handleStateOperator(const std::string& op) {
        if (op == "q") {
            if (m_saved.size() < kMaxSavedStates)
                m_saved.push_back({m_ctm, m_fontSize, m_leading});
        } else if (op == "Q") {
            if (!m_saved.empty()) {
                m_ctm = m_saved.back().ctm;
                m_fontSize = m_saved.back().fontSize;
                m_leading = m_saved.back().leading;
                m_saved.pop_back();
            }
        } else if (op == "BT") {
            m_textMatrix = m_lineMatrix = Matrix();
            m_blockStart = m_items.size();
            report("op_BT " + QByteArray::number(m_log.textBlocks++) + '\n');
            strayOperand(false);
        } else if (op == "ET") {
            report("op_ET\n");
            strayOperand(true);
        }
    }

    std::optional<QPDFObjectHandle> pop() {
        if (m_operands.empty())
            return std::nullopt;
        QPDFObjectHandle top = m_operands.back();
        m_operands.pop_back();
        return top;
    }
    // The operand at the place given, when it is a number.
    std::optional<double> number(size_t at) {
        if (at >= m_operands.size() || !m_operands[at].isNumber())
            return std::nullopt;
        const double value = m_operands[at].getNumericValue();
        return std::isfinite(value) ? std::optional<double>(value) : std::nullopt;
    }
    std::optional<Matrix> matrixOperand() {
        double v[6];
        for (size_t i = 0; i < 6; ++i) {
            const std::optional<double> n = number(i);
            if (!n)
                return std::nullopt;
            v[i] = *n;
        }
        return Matrix{v[0], v[1], v[2], v[3], v[4], v[5]};
    }
    void moveLine(double x, double y) {
        m_lineMatrix = translation(x, y).then(m_lineMatrix);
        m_textMatrix = m_lineMatrix;
    }
    void nextLine() { moveLine(0, -m_leading); }

    void add(const QString& text) {
        // A string drawn right after the one before it in the same text
        // block (one glyph on) goes on with it: together they are one word.
        const bool goesOn = m_glyphStep && m_items.size() > m_blockStart;
        m_glyphStep = false;
        if (goesOn) {
            // Such writers may name their blank glyph a tab (Qt does, once a
            // tab was laid out in the same font): inside a run it is a blank.
            QString glyph = text;
            glyph.replace(u'\t', u' ');
            m_items.last().text += glyph;
            return;
        }
        const Matrix place = m_textMatrix.then(m_ctm);
        const double size = m_fontSize * std::hypot(place.c, place.d);
        m_items.append({whole(place.e), whole(place.f), text, m_page,
                        std::isfinite(size) ? std::fabs(size) : 0.0});
    }
    // A shown string's text through its font's map when the font has one.
    QString textOf(QPDFObjectHandle string) {
        if (std::optional<QString> text = m_fonts.decode(string.getStringValue()))
            return *text;
        const std::string utf8 = string.getUTF8Value();
        return QString::fromUtf8(utf8.data(), qsizetype(utf8.size()));
    }

    // The strings at the even places of the array, with a blank or a tab
    // where the spacing after one moves far on; an item even for an empty
    // array.
    void opTJ() {
        QString text;
        if (auto array = pop(); array && array->isArray()) {
            std::vector<QPDFObjectHandle> parts = array->getArrayAsVector();
            double gap = 0;
            for (size_t i = 0; i < parts.size(); i += 2) {
                if (parts[i].isString()) {
                    const QString piece = textOf(parts[i]);
                    text += separator(text, piece, gap) + piece;
                }
                gap = i + 1 < parts.size() && parts[i + 1].isNumber()
                          ? -parts[i + 1].getNumericValue()
                          : 0;
            }
        }
        add(text);
    }
    static QString separator(const QString& before, const QString& piece, double gap) {
        if (before.isEmpty() || piece.isEmpty() || !(gap >= kWordGap))
            return QString();
        if (gap >= kCellGap)
            return QStringLiteral("\t");
        return before.back().isSpace() || piece.front().isSpace() ? QString() : QStringLiteral(" ");
    }

    void strayOperand(bool arrayToo) {
        if (auto operand = pop()) {
            if (operand->isName())
                report("stray name operand\n");
            else if (!arrayToo && operand->isString())
                report("stray string operand\n");
            else if (arrayToo && operand->isArray())
                report("stray array operand\n");
        }
    }
    void report(const QByteArray& line) {
        if (m_log.sink)
            m_log.sink(line);
        else
            diag::print("%s", line.constData());
    }

    ScanLog& m_log;
    PdfFontDecoder& m_fonts;
    const int m_page;
    QList<PDFStringTableItem>& m_items;
    std::vector<QPDFObjectHandle> m_operands;
    // The graphics state's matrix and the text state kept with it.
    struct SavedState {
        Matrix ctm;
        double fontSize;
        double leading;
    };
    Matrix m_ctm;
    std::vector<SavedState> m_saved;
    Matrix m_textMatrix;
    Matrix m_lineMatrix;
    double m_leading = 0;
    double m_fontSize = 0;
    // Where this text block's strings start in the list, and whether the
    // next string is drawn one glyph on from the last.
    qsizetype m_blockStart = 0;
    bool m_glyphStep = false;
};

} // namespace

bool scanPage(QPDFPageObjectHelper& page, int pageNumber, ScanLog& log,
              QList<PDFStringTableItem>& items) {
    try {
        PdfFontDecoder fonts(page.getAttribute("/Resources", false));
        Scanner scanner(log, fonts, pageNumber, items);
        page.parseContents(&scanner);
    } catch (const std::exception&) {
        return false; // a damaged stream: what was read before the damage stays
    }
    return true;
}

} // namespace pdftext
