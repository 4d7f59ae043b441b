#pragma once

// One of the unit's four text elements as the unit stores it: font size in
// points, position in 1/255 of the picture (x from the left, y from the
// top) and a colour byte holding two 4-bit colour indices.
//
// The colour setters write across: a new foreground goes into the upper
// nibble and a new background into the lower one, while the getters read
// the foreground from the lower and the background from the upper nibble.
// Units in the field read the byte this way, and saved placements depend on
// it, so the crossing stays.
class TextItem {
public:
    int fontPoint = 32;
    int x = 10;
    int y = 10;
    unsigned color = 0x70;

    int foreColor() const { return int(color & 0xFu); }
    int backColor() const { return int((color >> 4) & 0xFu); }
    void setForeColor(int v) { color = (unsigned(v) << 4) + (color & 0xFu); }
    void setBackColor(int v) { color = (color & 0xF0u) + (unsigned(v) & 0xFu); }
};
