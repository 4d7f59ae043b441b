#pragma once

#include <QToolButton>

// A colour well for an overlay colour: the swatch shows what the unit will
// draw (one of the eight colours of the 3-bit code); the menu offers those
// eight by name and the system colour dialog, whose choice is reduced to the
// nearest of them.
class ColorWell final : public QToolButton {
    Q_OBJECT
public:
    explicit ColorWell(const QString& label, QWidget* parent = nullptr);

    int code() const { return m_code; }
    // Shows a code without telling anyone (a report from the unit).
    void setCode(int code);

signals:
    // The user chose a colour.
    void colorChosen(int code);

private:
    void choose(int code);

    int m_code = 0;
};
