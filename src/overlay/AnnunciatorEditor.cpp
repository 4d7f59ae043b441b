#include "overlay/AnnunciatorEditor.h"

#include "base/Diagnostics.h"
#include "protocol/CommandSink.h"
#include "protocol/Commands.h"
#include "protocol/ReplyScanner.h"

namespace {
using Settings = AnnunciatorSettings;
using Element = AnnunciatorElement;
constexpr int kWidth = PreviewWorker::kCanvasWidth;
constexpr int kHeight = PreviewWorker::kCanvasHeight;
constexpr int kUnitSteps = 255; // positions travel in 1/255 of the picture

const char* const kTimecodeSample = "01:00:00:00";
const char* const kFeetSample = "000000.00";

// An element's anchor from its position on the unit, in whole canvas pixels.
QPointF anchorOf(const TextItem& item) {
    return {double(item.x * kWidth / kUnitSteps),
            double((kUnitSteps - item.y) * kHeight / kUnitSteps)};
}
} // namespace

AnnunciatorEditor::AnnunciatorEditor() {
    m_settings.items[Element::Annunciator].fontPoint = DrawAnnunciatorThread::kAnnunciatorPoints;
    for (Element e : kEveryElement) {
        const TextItem& item = m_settings.items[e];
        m_points[e] = anchorOf(item);
        m_settings.itemColors[e] = {item.foreColor(), item.backColor()};
    }
}

void AnnunciatorEditor::send(const QString& command) {
    if (CommandSink* sink = comThread())
        sink->sendString(command);
}

bool AnnunciatorEditor::sendSetting(bool reported, const QString& command) {
    if (!reported) {
        diag::print("not sent (the unit has not reported this setting yet): %s\n",
                    command.toUtf8().constData());
        return false;
    }
    send(command);
    return true;
}

// --- commands ---

void AnnunciatorEditor::sendAnnunciator() {
    // The unit answers a mode change with its own "U" (or "m"); that answer
    // must not move the buttons the user has just pressed.
    if (sendSetting(m_reported.mode, cmd::annunciator(std::max(m_settings.mode, 0))))
        m_skipEcho = true;
}

void AnnunciatorEditor::setWindowPosition(Element e) {
    const TextItem& t = m_settings.items[e];
    sendSetting(m_reported.windows[e], cmd::window(t.fontPoint, t.x, t.y, int(t.color), int(e)));
}

void AnnunciatorEditor::sendTc() {
    sendSetting(m_reported.tcSource, cmd::tcDisplay(m_settings.tcSource));
}

void AnnunciatorEditor::sendCom() {
    const int bits =
        (m_settings.comCell == Settings::kSony ? 1 : 0) | (m_settings.showMidi ? 2 : 0);
    sendSetting(m_reported.com, cmd::counterDisplay(bits));
}

void AnnunciatorEditor::sendAnnunciatorColors() {
    std::array<unsigned, Settings::kPairs> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const Settings::Colors& c = m_settings.annunciatorColors[i];
        bytes[i] = unsigned(c.back) * 16 + unsigned(c.fore);
    }
    sendSetting(m_reported.colors, cmd::annunciatorColors(bytes[0], bytes[1], bytes[2]));
}

void AnnunciatorEditor::onShowSampleText() {
    send(cmd::sampleText());
}
void AnnunciatorEditor::onClearSampleText() {
    send(cmd::clearText());
}
void AnnunciatorEditor::onShowSampleBarBeat() {
    send(cmd::sampleCounter());
}
void AnnunciatorEditor::onClearSampleBarBeat() {
    send(cmd::clearCounter());
}

// --- the user's choices ---

void AnnunciatorEditor::setMode(int mode) {
    m_settings.mode = std::clamp(mode, int(Settings::kOff), int(Settings::kPlayback));
    sendAnnunciator();
}

void AnnunciatorEditor::setAnnunciatorColor(int pair, const Settings::Colors& colors) {
    if (pair < 0 || pair >= Settings::kPairs)
        return;
    m_settings.annunciatorColors[std::size_t(pair)] = {std::clamp(colors.fore, 0, 7),
                                                       std::clamp(colors.back, 0, 15)};
    sendAnnunciatorColors();
}

void AnnunciatorEditor::setItemForeground(Element e, int code) {
    m_settings.itemColors[e].fore = code;
    m_settings.items[e].setForeColor(code);
    setWindowPosition(e);
}

void AnnunciatorEditor::setItemBackground(Element e, int code) {
    m_settings.itemColors[e].back = code;
    m_settings.items[e].setBackColor(code);
    setWindowPosition(e);
}

void AnnunciatorEditor::setTcSource(int source) {
    m_settings.tcSource = std::max(source, 0);
    sendTc();
}

void AnnunciatorEditor::setCom(int cell) {
    m_settings.comCell = cell == Settings::kSony ? Settings::kSony : Settings::kMidi;
    sendCom();
}

void AnnunciatorEditor::setShowMidi(bool on) {
    m_settings.showMidi = on;
    sendCom();
}

void AnnunciatorEditor::setFontPoint(Element e, int points) {
    m_settings.items[e].fontPoint = points;
    thread()->setSize(e, points);
    placed(e);
}

void AnnunciatorEditor::placed(Element e) {
    setWindowPosition(e);
    switch (e) {
    case Element::Annunciator:
        // Shown in Rehearse while it is placed or sized, so the user sees it.
        sendSetting(m_reported.mode, cmd::annunciator(Settings::kRehearse));
        return;
    case Element::Text:
        onShowSampleText();
        return;
    case Element::BarBeat:
        onShowSampleBarBeat();
        return;
    case Element::Tc:
        showTcCounter();
        return;
    }
}

void AnnunciatorEditor::showTcCounter() {
    if (m_settings.tcSource != Settings::kTcOff || !m_reported.tcSource)
        return;
    m_settings.tcSource = 1;
    sendTc();
    changed();
}

// --- the preview ---

void AnnunciatorEditor::setDraw(int code) {
    DrawAnnunciatorThread::Settings preview;
    preview.anchors = m_points;
    thread()->setDraw(preview, code);
}

void AnnunciatorEditor::threadNeedsTx(int code) {
    // Placing an element makes it visible on the unit.
    if (const std::optional<Element> e = DrawAnnunciatorThread::transmitted(code))
        placed(*e);
}

bool AnnunciatorEditor::closeToRect(const QPointF& p, const QRectF& r) {
    const QRectF grown(r.x() - kGracePixels, r.y() - kGracePixels, r.width() + 2 * kGracePixels,
                       r.height() + 2 * kGracePixels);
    return p.x() >= grown.left() && p.x() <= grown.right() && p.y() >= grown.top() &&
           p.y() <= grown.bottom();
}

bool AnnunciatorEditor::mouseDown(const QPointF& canvas) {
    // The annunciator wins where elements overlap: it is the one placed most.
    static constexpr Element kPickOrder[] = {Element::Annunciator, Element::Text, Element::Tc,
                                             Element::BarBeat};
    m_dragItem.reset();
    for (Element e : kPickOrder) {
        if (m_reported.windows[e] && closeToRect(canvas, thread()->rect(e))) {
            m_dragItem = e;
            break;
        }
    }
    if (!m_dragItem)
        return false;
    dragStep(canvas);
    return true;
}

void AnnunciatorEditor::mouseDragged(const QPointF& canvas) {
    if (m_dragItem)
        dragStep(canvas);
}

void AnnunciatorEditor::dragStep(const QPointF& canvas) {
    const Element e = *m_dragItem;
    // The mouse holds the element by its centre; the unit places it by its
    // top-left corner. Nothing is clamped: an element may hang off the
    // picture, where the unit clips it.
    const QRectF drawn = thread()->rect(e);
    QPointF& p = m_points[e];
    p = QPointF(canvas.x() - drawn.width() / 2, canvas.y() + drawn.height() / 2);
    TextItem& item = m_settings.items[e];
    item.x = int(p.x() * kUnitSteps / kWidth);
    item.y = int(kUnitSteps - p.y() * kUnitSteps / kHeight);
    setDraw(DrawAnnunciatorThread::transmitRequest(e));
}

// --- the unit's reports ---

void AnnunciatorEditor::fromString(const QString& line) {
    if (m_skipEcho) {
        m_skipEcho = false;
        return;
    }
    ReplyScanner scan(line);
    int mode = 0;
    if (!scan.scanInt(mode) || mode < Settings::kOff || mode > Settings::kPlayback)
        return;
    m_settings.mode = mode;
    m_reported.mode = true;
    changed();
    setDraw(PreviewWorker::kRedraw);
}

void AnnunciatorEditor::tcFromString(const QString& line) {
    if (m_skipEcho) {
        m_skipEcho = false;
        return;
    }
    ReplyScanner scan(line);
    int source = 0;
    if (!scan.scanInt(source) || source < 0)
        return;
    m_settings.tcSource = source;
    m_reported.tcSource = true;
    changed();
    thread()->setTcString(
        QString::fromLatin1(source == Settings::kTcFeet ? kFeetSample : kTimecodeSample));
    setDraw(PreviewWorker::kRedraw);
}

void AnnunciatorEditor::comFromString(const QString& line) {
    ReplyScanner scan(line);
    int bits = 0;
    m_settings.comCell = -1;
    if (scan.scanInt(bits)) {
        m_settings.comCell = bits & 1;
        m_settings.showMidi = (bits & 2) != 0;
        m_reported.com = true;
    }
    changed();
}

void AnnunciatorEditor::annunciatorColorsFromString(const QString& line) {
    ReplyScanner scan(line);
    QList<unsigned> bytes;
    unsigned v = 0;
    while (bytes.size() < Settings::kPairs && scan.scanHexInt(v))
        bytes << v;
    if (bytes.isEmpty())
        return;
    for (qsizetype i = 0; i < bytes.size(); ++i)
        m_settings.annunciatorColors[std::size_t(i)] = {int(bytes[i] & 7u),
                                                        int((bytes[i] >> 4) & 15u)};
    m_reported.colors = true;
    changed();
}

void AnnunciatorEditor::windowFromArray(const QList<int>& numbers) {
    if (numbers.size() != 5 || numbers[4] < 0 || numbers[4] >= kAnnunciatorElements)
        return;
    const auto e = Element(numbers[4]);
    TextItem& t = m_settings.items[e];
    t.fontPoint = numbers[0];
    t.x = numbers[1];
    t.y = numbers[2];
    t.color = unsigned(numbers[3]);
    m_reported.windows[e] = true;
    m_points[e] = anchorOf(t);
    // The preview draws the element in the size the unit uses.
    if (t.fontPoint > 0)
        thread()->setSize(e, t.fontPoint);
    // The annunciator's colours come with "t" only.
    if (e != Element::Annunciator)
        m_settings.itemColors[e] = {t.foreColor(), t.backColor()};
    changed();
    setDraw(PreviewWorker::kRedraw);
}

void AnnunciatorEditor::pointsFromArray(const QList<int>& numbers) {
    if (numbers.isEmpty())
        return;
    m_settings.pointChoices = numbers;
    m_reported.sizes = true;
    changed();
}

void AnnunciatorEditor::forgetReported() {
    m_reported = AnnunciatorReports();
    // The answers to the coming queries are reports, whatever was sent
    // before them.
    m_skipEcho = false;
    changed();
}
