#pragma once

#include <QString>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

class QPDFObjectHandle;

// The characters behind the codes of a PDF text string. Writers that embed
// subset fonts number the glyphs as they use them (two-byte codes in a
// composite font, or a simple font whose encoding renames codes), so the
// string's bytes are not its text; the font's /ToUnicode map, or failing
// that the glyph names of its /Encoding /Differences, say what was drawn.
//
// Built from a page's resources; the scanner selects the font of each "Tf"
// and asks for the text of every shown string.
class PdfFontDecoder {
public:
    // Reads every font of the resource dictionary (a null or damaged entry
    // gives a font without a map).
    explicit PdfFontDecoder(const QPDFObjectHandle& resources);
    PdfFontDecoder() = default;

    // The font named by a "Tf" operator ("/F1").
    void selectFont(const std::string& resourceName);
    // The text of a string's bytes in the selected font; nothing when that
    // font has no map (the string is then taken as it stands).
    std::optional<QString> decode(const std::string& bytes) const;

    // A ToUnicode CMap's text into a font's map (for fonts read elsewhere).
    struct Font {
        std::vector<int> codeLengths;          // byte lengths of the code space, shortest first
        std::map<std::uint32_t, QString> text; // code -> characters
        bool simple = true; // one-byte codes unless the code space says otherwise
        bool hasMap = false;
    };
    static void readToUnicode(const std::string& cmap, Font& font);
    // A glyph name's character ("A", "colon", "uni00E9", "u1F600"); null when unknown.
    static QString glyphNameText(const std::string& name);

private:
    std::map<std::string, Font> m_fonts;
    const Font* m_current = nullptr;
};
