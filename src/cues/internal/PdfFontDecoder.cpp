#include "cues/internal/PdfFontDecoder.h"

// qpdf's own smart pointers are not used here.
#define POINTERHOLDER_TRANSITION 4
#include <qpdf/QPDFObjectHandle.hh>

#include <algorithm>
#include <cctype>

namespace {

// Glyph names of the characters cue sheets use, beyond single letters and
// the "uniXXXX" / "uXXXX" forms.
const std::map<std::string, char16_t>& namedGlyphs() {
    static const std::map<std::string, char16_t> names = {
        {"space", u' '},
        {"exclam", u'!'},
        {"quotedbl", u'"'},
        {"numbersign", u'#'},
        {"dollar", u'$'},
        {"percent", u'%'},
        {"ampersand", u'&'},
        {"quotesingle", u'\''},
        {"quoteright", u'\u2019'},
        {"quoteleft", u'\u2018'},
        {"parenleft", u'('},
        {"parenright", u')'},
        {"asterisk", u'*'},
        {"plus", u'+'},
        {"comma", u','},
        {"hyphen", u'-'},
        {"minus", u'\u2212'},
        {"period", u'.'},
        {"slash", u'/'},
        {"zero", u'0'},
        {"one", u'1'},
        {"two", u'2'},
        {"three", u'3'},
        {"four", u'4'},
        {"five", u'5'},
        {"six", u'6'},
        {"seven", u'7'},
        {"eight", u'8'},
        {"nine", u'9'},
        {"colon", u':'},
        {"semicolon", u';'},
        {"less", u'<'},
        {"equal", u'='},
        {"greater", u'>'},
        {"question", u'?'},
        {"at", u'@'},
        {"bracketleft", u'['},
        {"backslash", u'\\'},
        {"bracketright", u']'},
        {"asciicircum", u'^'},
        {"underscore", u'_'},
        {"grave", u'`'},
        {"braceleft", u'{'},
        {"bar", u'|'},
        {"braceright", u'}'},
        {"asciitilde", u'~'},
        {"endash", u'\u2013'},
        {"emdash", u'\u2014'},
        {"bullet", u'\u2022'},
        {"ellipsis", u'\u2026'},
        {"quotedblleft", u'\u201C'},
        {"quotedblright", u'\u201D'},
        {"eacute", u'\u00E9'},
        {"egrave", u'\u00E8'},
        {"ecircumflex", u'\u00EA'},
        {"agrave", u'\u00E0'},
        {"ccedilla", u'\u00E7'},
        {"adieresis", u'\u00E4'},
        {"odieresis", u'\u00F6'},
        {"udieresis", u'\u00FC'},
        {"Adieresis", u'\u00C4'},
        {"Odieresis", u'\u00D6'},
        {"Udieresis", u'\u00DC'},
        {"germandbls", u'\u00DF'},
        {"nbspace", u'\u00A0'},
    };
    return names;
}

// The tokens of a CMap: hex strings (as bytes), arrays' brackets and words.
struct Token {
    enum Kind { Hex, Open, Close, Word } kind;
    std::string text;
};

std::vector<Token> tokens(const std::string& text) {
    std::vector<Token> out;
    size_t i = 0;
    while (i < text.size()) {
        const char c = text[i];
        if (c == '%') { // comment to the end of the line
            while (i < text.size() && text[i] != '\n' && text[i] != '\r')
                ++i;
        } else if (c == '<' && i + 1 < text.size() && text[i + 1] != '<') {
            std::string hex;
            for (++i; i < text.size() && text[i] != '>'; ++i) {
                if (std::isxdigit(static_cast<unsigned char>(text[i])))
                    hex += text[i];
            }
            ++i;
            if (hex.size() % 2)
                hex += '0';
            std::string bytes;
            for (size_t k = 0; k < hex.size(); k += 2)
                bytes += char(std::stoi(hex.substr(k, 2), nullptr, 16));
            out.push_back({Token::Hex, bytes});
        } else if (c == '[' || c == ']') {
            out.push_back({c == '[' ? Token::Open : Token::Close, std::string()});
            ++i;
        } else if (std::isspace(static_cast<unsigned char>(c)) || c == '<' || c == '>') {
            ++i;
        } else {
            std::string word;
            while (i < text.size() && !std::isspace(static_cast<unsigned char>(text[i])) &&
                   text[i] != '<' && text[i] != '[' && text[i] != ']')
                word += text[i++];
            out.push_back({Token::Word, word});
        }
    }
    return out;
}

std::uint32_t codeOf(const std::string& bytes) {
    std::uint32_t code = 0;
    for (const char b : bytes)
        code = (code << 8) | static_cast<unsigned char>(b);
    return code;
}

QString utf16Text(const std::string& bytes) {
    QString text;
    for (size_t i = 0; i + 1 < bytes.size(); i += 2)
        text += QChar(char16_t((static_cast<unsigned char>(bytes[i]) << 8) |
                               static_cast<unsigned char>(bytes[i + 1])));
    return text;
}

// The characters of a range destination, moved on by `offset` in its last
// unit (how CMaps number a run of consecutive codes).
QString shifted(const std::string& bytes, std::uint32_t offset) {
    QString text = utf16Text(bytes);
    if (!text.isEmpty())
        text.back() = QChar(char16_t(text.back().unicode() + offset));
    return text;
}

} // namespace

void PdfFontDecoder::readToUnicode(const std::string& cmap, Font& font) {
    const std::vector<Token> t = tokens(cmap);
    enum class Section { None, CodeSpace, Char, Range } section = Section::None;
    for (size_t i = 0; i < t.size(); ++i) {
        if (t[i].kind == Token::Word) {
            const std::string& w = t[i].text;
            if (w == "begincodespacerange")
                section = Section::CodeSpace;
            else if (w == "beginbfchar")
                section = Section::Char;
            else if (w == "beginbfrange")
                section = Section::Range;
            else if (w.rfind("end", 0) == 0)
                section = Section::None;
            continue;
        }
        if (t[i].kind != Token::Hex)
            continue;
        if (section == Section::CodeSpace && i + 1 < t.size() && t[i + 1].kind == Token::Hex) {
            const int length = int(t[i].text.size());
            if (length >= 1 && length <= 4 &&
                std::find(font.codeLengths.begin(), font.codeLengths.end(), length) ==
                    font.codeLengths.end())
                font.codeLengths.push_back(length);
            ++i;
        } else if (section == Section::Char && i + 1 < t.size() && t[i + 1].kind == Token::Hex) {
            font.text[codeOf(t[i].text)] = utf16Text(t[i + 1].text);
            ++i;
        } else if (section == Section::Range && i + 2 < t.size() && t[i + 1].kind == Token::Hex) {
            const std::uint32_t low = codeOf(t[i].text);
            const std::uint32_t high = std::min(codeOf(t[i + 1].text), low + 0xFFFF);
            if (t[i + 2].kind == Token::Hex) {
                for (std::uint32_t c = low; c <= high; ++c)
                    font.text[c] = shifted(t[i + 2].text, c - low);
                i += 2;
            } else if (t[i + 2].kind == Token::Open) {
                size_t k = i + 3;
                for (std::uint32_t c = low; k < t.size() && t[k].kind == Token::Hex; ++c, ++k) {
                    if (c <= high)
                        font.text[c] = utf16Text(t[k].text);
                }
                i = k;
            }
        }
    }
    std::sort(font.codeLengths.begin(), font.codeLengths.end());
    font.hasMap = !font.text.empty();
}

QString PdfFontDecoder::glyphNameText(const std::string& name) {
    if (name.size() == 1 && std::isalpha(static_cast<unsigned char>(name[0])))
        return QString(QLatin1Char(name[0]));
    const auto named = namedGlyphs().find(name);
    if (named != namedGlyphs().end())
        return QString(QChar(named->second));
    auto hexValue = [](const std::string& digits) -> std::optional<char32_t> {
        if (digits.empty() || digits.size() > 6 ||
            !std::all_of(digits.begin(), digits.end(),
                         [](char c) { return std::isxdigit(static_cast<unsigned char>(c)); }))
            return std::nullopt;
        return char32_t(std::stoul(digits, nullptr, 16));
    };
    std::optional<char32_t> code;
    if (name.rfind("uni", 0) == 0 && name.size() >= 7)
        code = hexValue(name.substr(3, 4));
    else if (name.size() >= 5 && name[0] == 'u')
        code = hexValue(name.substr(1));
    if (code && *code <= 0x10FFFF)
        return QString::fromUcs4(&*code, 1);
    return QString();
}

PdfFontDecoder::PdfFontDecoder(const QPDFObjectHandle& resources) {
    try {
        QPDFObjectHandle fonts = QPDFObjectHandle(resources).getKey("/Font");
        if (!fonts.isDictionary())
            return;
        for (auto& [name, fontObject] : fonts.getDictAsMap()) {
            Font font;
            if (!fontObject.isDictionary())
                continue;
            font.simple = fontObject.getKey("/Subtype").isNameAndEquals("/Type0") == false;
            QPDFObjectHandle toUnicode = fontObject.getKey("/ToUnicode");
            if (toUnicode.isStream()) {
                const std::shared_ptr<Buffer> data = toUnicode.getStreamData();
                readToUnicode(
                    std::string(reinterpret_cast<const char*>(data->getBuffer()), data->getSize()),
                    font);
            }
            QPDFObjectHandle encoding = fontObject.getKey("/Encoding");
            if (!font.hasMap && font.simple && encoding.isDictionary() &&
                encoding.getKey("/Differences").isArray()) {
                // Codes not renamed keep their own character.
                for (std::uint32_t c = 32; c < 256; ++c)
                    font.text[c] = QString(QChar(char16_t(c)));
                std::uint32_t code = 0;
                for (QPDFObjectHandle& item : encoding.getKey("/Differences").getArrayAsVector()) {
                    if (item.isInteger()) {
                        code = std::uint32_t(item.getIntValue());
                    } else if (item.isName()) {
                        font.text[code++] = glyphNameText(item.getName().substr(1));
                    }
                }
                font.hasMap = true;
            }
            if (font.codeLengths.empty())
                font.codeLengths.push_back(font.simple ? 1 : 2);
            m_fonts[name] = std::move(font);
        }
    } catch (const std::exception&) {
        // A damaged resource dictionary: the fonts read so far stay.
    }
}

void PdfFontDecoder::selectFont(const std::string& resourceName) {
    const auto it = m_fonts.find(resourceName);
    m_current = it == m_fonts.end() ? nullptr : &it->second;
}

std::optional<QString> PdfFontDecoder::decode(const std::string& bytes) const {
    if (!m_current || !m_current->hasMap)
        return std::nullopt;
    const Font& font = *m_current;
    QString text;
    size_t i = 0;
    while (i < bytes.size()) {
        // The shortest code length that names a mapped code wins.
        size_t used = size_t(font.codeLengths.back());
        for (const int length : font.codeLengths) {
            if (i + size_t(length) <= bytes.size() &&
                font.text.count(codeOf(bytes.substr(i, size_t(length))))) {
                used = size_t(length);
                break;
            }
        }
        used = std::min(used, bytes.size() - i);
        const auto it = font.text.find(codeOf(bytes.substr(i, used)));
        if (it != font.text.end())
            text += it->second;
        i += used;
    }
    return text;
}
