#include "cues/view/TakeView.h"

#include <QAction>
#include <QFontDatabase>
#include <QGridLayout>
#include <QHash>
#include <QLabel>
#include <QPaintEvent>
#include <QPainter>
#include <QPixmap>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
QLabel* label(QWidget* parent, const char* name, double points, bool fixed, bool bold) {
    auto* l = new QLabel(parent);
    l->setObjectName(QLatin1String(name));
    QFont font = fixed ? QFontDatabase::systemFont(QFontDatabase::FixedFont) : l->font();
    font.setPointSizeF(points);
    font.setBold(bold);
    l->setFont(font);
    l->setTextFormat(Qt::PlainText);
    return l;
}

const QColor kRunning(0x7f, 0xdc, 0x7f);
const QColor kStopped(0x6a, 0x6e, 0x72);
const QColor kHeldTime(0xe7, 0x4c, 0x3c);
const char* const kHeld = "QLabel { color: white; background: #c0392b; padding: 6px 16px; }";
const char* const kNormal = "QLabel { color: #d8d8d8; padding: 6px 16px; }";
} // namespace

// The time code in large fixed-width characters. Glyphs this large are not
// cached by the text renderer and cost a path fill each; here each character
// is drawn once into a pixmap, and a new time repaints only the cells whose
// character changed.
class TakeView::BigTimecode : public QWidget {
public:
    explicit BigTimecode(QWidget* parent) : QWidget(parent) {
        setObjectName(QStringLiteral("takeTimecode"));
        m_font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
        m_font.setPointSizeF(96);
        m_font.setBold(true);
        const QFontMetrics metrics(m_font);
        m_cell = QSize(metrics.horizontalAdvance(QLatin1Char('0')), metrics.height());
        setFixedSize(m_cell.width() * 11, m_cell.height());
        setAttribute(Qt::WA_OpaquePaintEvent);
    }
    QString text() const { return m_text; }
    void setText(const QString& text) {
        const auto at = [](const QString& s, qsizetype i) { return i < s.size() ? s[i] : QChar(); };
        for (qsizetype i = 0; i < std::max(text.size(), m_text.size()); ++i) {
            if (at(text, i) != at(m_text, i))
                update(QRect(QPoint(int(i) * m_cell.width(), 0), m_cell));
        }
        m_text = text;
    }
    void setColor(const QColor& color) {
        if (color == m_color)
            return;
        m_color = color;
        update();
    }

protected:
    void paintEvent(QPaintEvent* event) override {
        QPainter painter(this);
        painter.fillRect(event->rect(), palette().color(QPalette::Window));
        for (qsizetype i = 0; i < m_text.size(); ++i) {
            const QRect cell(QPoint(int(i) * m_cell.width(), 0), m_cell);
            if (event->region().intersects(cell))
                painter.drawPixmap(cell.topLeft(), glyph(m_text[i]));
        }
    }

private:
    const QPixmap& glyph(QChar c) {
        const QString key = QString(c) + m_color.name();
        auto found = m_glyphs.find(key);
        if (found != m_glyphs.end())
            return *found;
        const qreal ratio = devicePixelRatioF();
        QPixmap pixmap(m_cell * ratio);
        pixmap.setDevicePixelRatio(ratio);
        pixmap.fill(palette().color(QPalette::Window));
        QPainter painter(&pixmap);
        painter.setFont(m_font);
        painter.setPen(m_color);
        painter.drawText(QRect(QPoint(0, 0), m_cell), Qt::AlignCenter, QString(c));
        return *m_glyphs.insert(key, pixmap);
    }

    QFont m_font;
    QSize m_cell;
    QString m_text;
    QColor m_color = kStopped;
    QHash<QString, QPixmap> m_glyphs;
};

TakeView::TakeView(TakeSource* source, QWidget* parent) : QWidget(parent), m_source(source) {
    setObjectName(QStringLiteral("takeView"));
    setWindowTitle(tr("Take"));
    setAutoFillBackground(true);
    QPalette dark = palette();
    dark.setColor(QPalette::Window, QColor(0x10, 0x12, 0x14));
    dark.setColor(QPalette::WindowText, QColor(0xe8, 0xe8, 0xe8));
    setPalette(dark);

    auto* layout = new QGridLayout(this);
    layout->setContentsMargins(32, 24, 32, 24);
    layout->setVerticalSpacing(12);
    m_sheet = label(this, "takeSheet", 26, false, true);
    m_state = label(this, "takeState", 26, false, true);
    m_state->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    layout->addWidget(m_sheet, 0, 0, 1, 2);
    layout->addWidget(m_state, 0, 2);

    layout->addWidget(label(this, "takeCurrentTitle", 18, false, false), 1, 0);
    findChild<QLabel*>(QStringLiteral("takeCurrentTitle"))->setText(tr("Current cue"));
    m_currentId = label(this, "takeCurrentId", 72, false, true);
    m_currentText = label(this, "takeCurrentText", 48, false, false);
    m_currentText->setWordWrap(true);
    layout->addWidget(m_currentId, 2, 0);
    layout->addWidget(m_currentText, 2, 1, 1, 2);

    auto* nextTitle = label(this, "takeNextTitle", 18, false, false);
    nextTitle->setText(tr("Next cue"));
    layout->addWidget(nextTitle, 3, 0);
    m_nextId = label(this, "takeNextId", 40, false, true);
    m_nextText = label(this, "takeNextText", 30, false, false);
    m_nextText->setWordWrap(true);
    m_countdown = label(this, "takeCountdown", 40, true, true);
    m_countdown->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    layout->addWidget(m_nextId, 4, 0);
    layout->addWidget(m_nextText, 4, 1);
    layout->addWidget(m_countdown, 4, 2);

    m_timecode = new BigTimecode(this);
    m_rate = label(this, "takeRate", 26, false, false);
    m_rate->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    layout->addWidget(m_timecode, 5, 0, 1, 2);
    layout->addWidget(m_rate, 5, 2);
    layout->setColumnStretch(1, 1);
    layout->setRowStretch(7, 1);

    auto* buttons = new QHBoxLayout;
    m_hold = new QPushButton(tr("Hold (F8)"), this);
    m_hold->setObjectName(QStringLiteral("takeHold"));
    m_hold->setCheckable(true);
    auto* fire = new QPushButton(tr("Fire Next (F9)"), this);
    fire->setObjectName(QStringLiteral("takeFireNext"));
    auto* full = new QPushButton(tr("Full Screen (F11)"), this);
    for (QPushButton* b : {m_hold, fire, full}) {
        b->setFocusPolicy(Qt::NoFocus);
        b->setStyleSheet(QStringLiteral("QPushButton { font-size: 16pt; padding: 8px 18px; }"));
        buttons->addWidget(b);
    }
    buttons->addStretch(1);
    layout->addLayout(buttons, 8, 0, 1, 3);
    connect(m_hold, &QPushButton::clicked, this, [this](bool on) { m_source->setHeld(on); });
    connect(fire, &QPushButton::clicked, this, [this] { m_source->fireNext(); });
    connect(full, &QPushButton::clicked, this, &TakeView::toggleFullScreen);

    auto* holdKey = new QAction(this);
    holdKey->setShortcut(QKeySequence(Qt::Key_F8));
    connect(holdKey, &QAction::triggered, this,
            [this] { m_source->setHeld(!m_source->takeState().held); });
    auto* fireKey = new QAction(this);
    fireKey->setShortcut(QKeySequence(Qt::Key_F9));
    connect(fireKey, &QAction::triggered, this, [this] { m_source->fireNext(); });
    auto* fullKey = new QAction(this);
    fullKey->setShortcut(QKeySequence(Qt::Key_F11));
    connect(fullKey, &QAction::triggered, this, &TakeView::toggleFullScreen);
    addActions({holdKey, fireKey, fullKey});
    resize(1280, 720);
    refresh();
}

TakeView::~TakeView() = default;

QString TakeView::timecodeText() const {
    return m_timecode->text();
}

void TakeView::toggleFullScreen() {
    setWindowState(windowState() ^ Qt::WindowFullScreen);
}

void TakeView::set(QLabel* label, const QString& text) {
    if (label->text() == text)
        return;
    label->setText(text);
    ++m_labelUpdates;
}

void TakeView::setStyle(QLabel* label, const QString& style) {
    if (label->styleSheet() != style)
        label->setStyleSheet(style);
}

void TakeView::refresh() {
    const TakeState s = m_source->takeState();
    set(m_sheet, s.sheetName.isEmpty() ? tr("No sheet armed") : s.sheetName);
    set(m_state, s.held ? tr("HOLD: nothing is sent") : s.running ? tr("RUNNING") : tr("STOPPED"));
    setStyle(m_state, QLatin1String(s.held ? kHeld : kNormal));
    set(m_currentId, s.hasCurrent ? s.currentId : tr("none yet"));
    set(m_currentText, s.hasCurrent ? s.currentText : QString());
    set(m_nextId, s.hasNext ? s.nextId : QStringLiteral("—"));
    set(m_nextText, s.hasNext ? s.nextText : tr("no cue ahead"));
    set(m_countdown, s.hasNext ? s.countdown : QString());
    if (m_timecode->text() != s.timecode) {
        m_timecode->setText(s.timecode);
        ++m_labelUpdates;
    }
    set(m_rate, s.rate.isEmpty() ? QString() : tr("%1 fps").arg(s.rate));
    m_timecode->setColor(!s.running ? kStopped : s.held ? kHeldTime : kRunning);
    m_hold->setChecked(s.held);
}
