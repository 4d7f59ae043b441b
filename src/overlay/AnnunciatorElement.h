#pragma once

#include <array>
#include <cstddef>

// The unit's four text elements over the picture, numbered as the unit
// numbers them in its "r" command and reply. Whatever is kept per element
// (position, size, colours, where it was drawn) is a PerElement indexed by
// it.
enum class AnnunciatorElement { Text = 0, Annunciator = 1, BarBeat = 2, Tc = 3 };

inline constexpr int kAnnunciatorElements = 4;

// Every element, in the unit's numbering.
inline constexpr AnnunciatorElement kEveryElement[kAnnunciatorElements] = {
    AnnunciatorElement::Text, AnnunciatorElement::Annunciator, AnnunciatorElement::BarBeat,
    AnnunciatorElement::Tc};

// One value for each element.
template <typename T>
struct PerElement {
    std::array<T, kAnnunciatorElements> values{};

    T& operator[](AnnunciatorElement e) { return values[std::size_t(e)]; }
    const T& operator[](AnnunciatorElement e) const { return values[std::size_t(e)]; }
};
