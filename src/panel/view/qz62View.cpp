#include "panel/view/qz62View.h"

#include "base/view/SendOnEdit.h"
#include "base/view/UnreadMark.h"
#include "link/ComThread.h"
#include "panel/VideoStandards.h"
#include "panel/view/NetworkPanel.h"
#include "ui_qz62View.h"

#include <QButtonGroup>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QEvent>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QMimeData>
#include <QScrollBar>
#include <QSet>
#include <QSettings>
#include <QSignalBlocker>
#include <memory>

namespace {
constexpr int kLogLines = 5000; // the log keeps the last lines only
constexpr int kColorSpaceRows = 4;

// Banner colours: readable from across a dark room.
const char* bannerStyle(PanelController::LinkState state) {
    switch (state) {
    case PanelController::LinkState::Connected:
        return "#linkBanner { background: #1b6e2a; } #linkBanner QLabel { color: white; }";
    case PanelController::LinkState::Lost:
    case PanelController::LinkState::UpdateFailed:
        return "#linkBanner { background: #b3261e; } #linkBanner QLabel { color: white; }";
    case PanelController::LinkState::NotFound:
    case PanelController::LinkState::NotAnswering:
        return "#linkBanner { background: #c77700; } #linkBanner QLabel { color: black; }";
    case PanelController::LinkState::Idle:
    case PanelController::LinkState::Closed:
        break;
    }
    return "#linkBanner { background: #5f6368; } #linkBanner QLabel { color: white; }";
}
} // namespace

qz62View::qz62View(QWidget* parent) : QWidget(parent), m_ui(std::make_unique<Ui::qz62View>()) {
    m_ui->setupUi(this);
    // The network link's list on the unit tab, its state in the banner.
    m_networkPanel = new NetworkPanel;
    m_ui->layoutUnit->insertWidget(1, m_networkPanel);
    m_ui->layoutBanner->insertWidget(1, m_networkPanel->stateLabel());

    m_rateMatrix = new QButtonGroup(this);
    m_rateMatrix->addButton(m_ui->radioButtonRefFlat, 0);
    m_rateMatrix->addButton(m_ui->radioButtonRefPulldown, 1);
    m_rateMatrix->addButton(m_ui->radioButtonRefAuto, 2);
    m_priorityMatrix = new QButtonGroup(this);
    m_priorityMatrix->addButton(m_ui->radioButtonHdmi, 0);
    m_priorityMatrix->addButton(m_ui->radioButtonSdi, 1);
    m_popMatrix = new QButtonGroup(this);
    m_popMatrix->addButton(m_ui->radioPopEnable, 0);
    m_popMatrix->addButton(m_ui->radioLtcEnable, 1);
    m_popMatrix->addButton(m_ui->radioMtcEnable, 2);

    QFont bannerFont = m_ui->labelLinkState->font();
    bannerFont.setBold(true);
    bannerFont.setPointSizeF(bannerFont.pointSizeF() * 1.2);
    m_ui->labelLinkState->setFont(bannerFont);

    m_ui->textViewDebugRx->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_ui->textViewDebugRx->setMaximumBlockCount(kLogLines);
    m_ui->progressBarUpdate->setVisible(false);
    m_ui->labelUpdate->setVisible(false);

    for (int row = 0; row < kColorSpaceRows; ++row)
        m_ui->myColorSpaceComboBox->addItem(QStringLiteral("Colour space %1").arg(row));
    m_ui->myColorSpaceComboBox->setToolTip(
        QStringLiteral("Input colour space: the row number is sent to the unit"));

    // A wheel turned while scrolling past a control must not change the unit:
    // value controls take the wheel only once they have the focus.
    const QList<QWidget*> valueControls = findChildren<QWidget*>();
    for (QWidget* w : valueControls) {
        if (qobject_cast<QAbstractSpinBox*>(w) || qobject_cast<QAbstractSlider*>(w) ||
            qobject_cast<QComboBox*>(w)) {
            w->setFocusPolicy(Qt::StrongFocus);
            w->installEventFilter(this);
        }
    }

    setAcceptDrops(true);
    connectControls();
    showLinkState(PanelController::LinkState::Idle, QString());
}

void qz62View::dragEnterEvent(QDragEnterEvent* event) {
    if (!event->mimeData()->hasUrls()) {
        event->ignore();
        return;
    }
    if (event->possibleActions() & Qt::LinkAction)
        event->setDropAction(Qt::LinkAction);
    else if (event->possibleActions() & Qt::CopyAction)
        event->setDropAction(Qt::CopyAction);
    else
        return event->ignore();
    event->accept();
}

void qz62View::dropEvent(QDropEvent* event) {
    event->ignore();
}

bool qz62View::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Wheel) {
        auto* w = qobject_cast<QWidget*>(watched);
        if (w && !w->hasFocus()) {
            event->ignore();
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

qz62View::~qz62View() = default;

QTabWidget* qz62View::tabView() const {
    return m_ui->tabView;
}

void qz62View::setEditorTabs(QWidget* streamer, QWidget* punch, QWidget* annunciator) {
    m_ui->layout_tabStreamer->addWidget(streamer);
    m_ui->layout_tabPunch->addWidget(punch);
    m_ui->layout_tabAnnunciator->addWidget(annunciator);
}

void qz62View::awakeFromNib(const PanelOptions& options) {
    // Bring the application to the front (the offscreen platform used by
    // tests and benchmarks has no notion of it).
    if (QGuiApplication::platformName() != QLatin1String("offscreen")) {
        window()->raise();
        window()->activateWindow();
    }

    for (int i = 0; i < videostandards::kCount; ++i) {
        m_ui->comboBoxSdiGenerator->addItem(videostandards::displayName(i));
        m_ui->comboBoxSdiGenerator->setItemData(i, videostandards::names().at(i), Qt::ToolTipRole);
    }
    m_ui->myColorSpaceComboBox->setCurrentIndex(0);

    m_controller.setExplicitPort(options.explicitPort);
    m_controller.setSearchDirectory(options.searchDirectory);
    m_controller.setTickIntervalMs(options.tickIntervalMs);
    refreshAll();
    m_controller.startUp();
    m_networkPanel->awakeFromNib(m_controller, options);
}

namespace {
const char* const kKeyTab = "Panel/tab";
const char* const kKeyHidePing = "Panel/hidePing";
} // namespace

void qz62View::saveLayout(QSettings& settings) const {
    settings.setValue(QLatin1String(kKeyTab), m_ui->tabView->currentIndex());
    settings.setValue(QLatin1String(kKeyHidePing), m_ui->checkBoxInhibitPing->isChecked());
}

void qz62View::restoreLayout(const QSettings& settings) {
    const int tab = settings.value(QLatin1String(kKeyTab), 0).toInt();
    if (tab >= 0 && tab < m_ui->tabView->count())
        m_ui->tabView->setCurrentIndex(tab);
    m_ui->checkBoxInhibitPing->setChecked(settings.value(QLatin1String(kKeyHidePing)).toBool());
}

void qz62View::windowClosing() {
    m_networkPanel->windowClosing(m_controller);
    m_controller.windowClosing();
}

void qz62View::connectControls() {
    connectVideoControls();
    connectMasking();
    connectPopEnables();
    connectUnitTab();

    StatusParser& parser = m_controller.parser();
    connect(&parser, &StatusParser::changed, this, &qz62View::refresh);
    connect(&parser, &StatusParser::showUnitTab, this, &qz62View::onTransferStarted);
    connect(&m_controller, &PanelController::rxLine, this, &qz62View::appendRxLine);
    connect(&m_controller, &PanelController::linkStateChanged, this, &qz62View::showLinkState);
    connect(&m_networkPanel->link(), &NetworkLink::stateChanged, this,
            [this] { showLinkState(m_controller.linkState(), m_controller.linkDetail()); });
    connect(&m_controller, &PanelController::windowTitleChanged, this,
            &qz62View::windowTitleChanged);
}

// Reference rate, priority, end punch, bars, SDI generator, bypass, delay
// trim and input colour space.
void qz62View::connectVideoControls() {
    PanelSettings& s = m_controller.settings();
    auto& ui = *m_ui;
    connect(ui.radioButtonRefFlat, &QRadioButton::clicked, this,
            [&s] { s.onRadioButtonRefFlat(); });
    connect(ui.radioButtonRefPulldown, &QRadioButton::clicked, this,
            [&s] { s.onRadioButtonRefPulldown(); });
    connect(ui.radioButtonRefAuto, &QRadioButton::clicked, this,
            [&s] { s.onRadioButtonRefAuto(); });
    connect(ui.radioButtonHdmi, &QRadioButton::clicked, this, [&s] { s.onRadioButtonHdmi(); });
    connect(ui.radioButtonSdi, &QRadioButton::clicked, this, [&s] { s.onRadioButtonSdi(); });
    connect(ui.checkBoxStreamerEndPunch, &QCheckBox::clicked, this,
            [&s](bool on) { s.onCheckBoxStreamerEndPunch(on); });

    connect(ui.checkBoxBars, &QCheckBox::clicked, this, [&s](bool on) { s.onCheckBoxBars(on); });
    connect(ui.checkBoxGrayScale, &QCheckBox::clicked, this,
            [&s](bool on) { s.onCheckBoxGrayScale(on); });

    connect(ui.comboBoxSdiGenerator, &QComboBox::activated, this,
            [&s](int row) { s.onComboBoxSdiGenerator(row); });
    connect(ui.checkBoxBypass, &QCheckBox::clicked, this,
            [&s](bool on) { s.onCheckBoxBypass(on); });
    QSpinBox* trimSteps = ui.stepperDelayTrim;
    QDoubleSpinBox* trimSeconds = ui.textDelayTrim;
    sendOnEdit(trimSteps, this, [&s, trimSteps] { s.onStepperDelayTrim(trimSteps->value()); });
    sendOnEdit(trimSeconds, this, [&s, trimSeconds] { s.onTextDelayTrim(trimSeconds->value()); });
    connect(ui.myColorSpaceComboBox, &QComboBox::activated, this,
            [&s](int row) { s.oncomboBoxInputColorSpace(row); });
}

void qz62View::connectMasking() {
    PanelSettings& s = m_controller.settings();
    for (const MaskControls& m : maskControls()) {
        // A drag sends once, on release; the field follows the handle meanwhile.
        m.stepper->setTracking(false);
        m.field->setKeyboardTracking(false);
        QSpinBox* field = m.field;
        connect(m.stepper, &QSlider::sliderMoved, this, [field](int v) {
            const QSignalBlocker block(field);
            field->setValue(v);
        });
        const Mask which = m.which;
        connect(m.stepper, &QSlider::valueChanged, this,
                [&s, which](int v) { s.onStepperMasking(which, v); });
        sendOnEdit(m.field, this,
                   [&s, which, field] { s.onTextBoxMasking(which, field->value()); });
    }
}

void qz62View::connectPopEnables() {
    PanelSettings& s = m_controller.settings();
    auto& ui = *m_ui;
    connect(ui.checkBoxPopStreamerAccum, &QCheckBox::clicked, this,
            [&s](bool on) { s.onCheckBoxPopStreamerAccum(on); });
    connect(ui.checkBoxPopStreamer, &QCheckBox::clicked, this,
            [&s](bool on) { s.onCheckBoxPopStreamer(on); });
    connect(ui.checkBoxPopPunch, &QCheckBox::clicked, this,
            [&s](bool on) { s.onCheckBoxPopPunch(on); });
    connect(ui.radioPopEnable, &QRadioButton::clicked, this, [&s] { s.onRadioPopEnable(); });
    connect(ui.radioLtcEnable, &QRadioButton::clicked, this, [&s] { s.onRadioLtcEnable(); });
    connect(ui.radioMtcEnable, &QRadioButton::clicked, this, [&s] { s.onRadioMtcEnable(); });
}

// HDMI timing, streamer fields, the command line and its log, re-read,
// FLASH reset and Connect.
void qz62View::connectUnitTab() {
    PanelSettings& s = m_controller.settings();
    auto& ui = *m_ui;
    connect(ui.buttonGetHdmiTiming, &QPushButton::clicked, this,
            [this, &s] { s.onButtonGetHdmiTiming(m_ui->checkBoxExtendedTiming->isChecked()); });
    connect(ui.buttonStreamerFields, &QPushButton::clicked, this,
            [&s] { s.onButtonStreamerFields(); });
    auto sendDebug = [this, &s] {
        s.onTextDebugTx(m_ui->textDebugTx->text());
        m_ui->textDebugTx->selectAll();
    };
    connect(ui.textDebugTx, &QLineEdit::returnPressed, this, sendDebug);
    connect(ui.buttonSendDebugTx, &QPushButton::clicked, this, sendDebug);
    connect(ui.buttonClearDebugRx, &QPushButton::clicked, ui.textViewDebugRx,
            &QPlainTextEdit::clear);
    connect(ui.buttonTest, &QPushButton::clicked, this, [&s] { s.onButtonTest(); });
    connect(ui.buttonResetFlash, &QPushButton::clicked, this, [&s] { s.onButtonResetFlash(); });
    connect(ui.buttonReconnect, &QPushButton::clicked, this, [this] { m_controller.reconnect(); });
}

// Each masking value's stepper and field, in the order of PanelState::masking.
std::array<qz62View::MaskControls, 5> qz62View::maskControls() const {
    auto& ui = *m_ui;
    return {{
        {ui.stepperMaskingTop, ui.textBoxMaskingTop, Mask::Top},
        {ui.stepperMaskingBottom, ui.textBoxMaskingBottom, Mask::Bottom},
        {ui.stepperMaskingLeft, ui.textBoxMaskingLeft, Mask::Left},
        {ui.stepperMaskingRight, ui.textBoxMaskingRight, Mask::Right},
        {ui.stepperMaskingTransparency, ui.textBoxMaskingTransparency, Mask::Transparency},
    }};
}

void qz62View::refreshAll() {
    for (PanelGroup g :
         {PanelGroup::Rate, PanelGroup::BarsAndGray, PanelGroup::Masking, PanelGroup::PopEnables,
          PanelGroup::SdiGenerator, PanelGroup::Bypass, PanelGroup::DelayTrim,
          PanelGroup::ColorSpace, PanelGroup::Progress, PanelGroup::UnitMemory})
        refresh(g);
}

namespace {
// Checks the button with the id, or none when the id has no button.
void selectCell(QButtonGroup* group, int id) {
    const bool exclusive = group->exclusive();
    group->setExclusive(false);
    for (QAbstractButton* b : group->buttons()) {
        const QSignalBlocker block(b);
        b->setChecked(group->id(b) == id);
    }
    group->setExclusive(exclusive);
}

void setChecked(QAbstractButton* box, bool on) {
    const QSignalBlocker block(box);
    box->setChecked(on);
}
} // namespace

void qz62View::showReadState() {
    const StatusParser& parser = m_controller.parser();
    auto& ui = *m_ui;
    const struct {
        PanelGroup group;
        QGroupBox* box;
        std::initializer_list<QWidget*> controls;
    } groups[] = {
        {PanelGroup::Rate,
         ui.groupReference,
         {ui.radioButtonRefFlat, ui.radioButtonRefPulldown, ui.radioButtonRefAuto,
          ui.radioButtonHdmi, ui.radioButtonSdi, ui.checkBoxStreamerEndPunch}},
        {PanelGroup::BarsAndGray, ui.groupTestSignals, {ui.checkBoxBars, ui.checkBoxGrayScale}},
        {PanelGroup::SdiGenerator, ui.groupTestSignals, {ui.comboBoxSdiGenerator}},
        {PanelGroup::Masking, ui.groupMasking, {}},
        {PanelGroup::Bypass, ui.groupVideoPath, {ui.checkBoxBypass}},
        {PanelGroup::ColorSpace, ui.groupVideoPath, {ui.myColorSpaceComboBox}},
        {PanelGroup::DelayTrim, ui.groupVideoPath, {ui.textDelayTrim, ui.stepperDelayTrim}},
        {PanelGroup::PopEnables,
         ui.groupPops,
         {ui.checkBoxPopStreamer, ui.checkBoxPopStreamerAccum, ui.checkBoxPopPunch}},
        {PanelGroup::PopEnables,
         ui.groupTimecodeSource,
         {ui.radioPopEnable, ui.radioLtcEnable, ui.radioMtcEnable}},
    };
    QSet<QGroupBox*> unread;
    for (const auto& g : groups) {
        const bool read = parser.isRead(g.group);
        for (QWidget* w : g.controls)
            w->setEnabled(read);
        if (!read)
            unread.insert(g.box);
    }
    for (const MaskControls& m : maskControls()) {
        m.stepper->setEnabled(parser.isRead(PanelGroup::Masking));
        m.field->setEnabled(parser.isRead(PanelGroup::Masking));
    }
    for (const auto& g : groups)
        unreadmark::markTitle(g.box, unread.contains(g.box));
}

// Shows what the unit reported (or what a control just set) without sending
// anything back: every widget's signals are blocked while it is set.
void qz62View::refresh(PanelGroup group) {
    const PanelState& st = m_controller.parser().state();
    auto& ui = *m_ui;
    if (int(group) < kSettingGroups)
        showReadState();
    switch (group) {
    case PanelGroup::Rate:
        selectCell(m_rateMatrix, st.rateCell);
        selectCell(m_priorityMatrix, st.priorityCell);
        setChecked(ui.checkBoxStreamerEndPunch, st.streamerEndPunch);
        break;
    case PanelGroup::BarsAndGray:
        setChecked(ui.checkBoxBars, st.bars);
        setChecked(ui.checkBoxGrayScale, st.grayScale);
        break;
    case PanelGroup::Masking:
        for (const MaskControls& m : maskControls()) {
            const int value = st.masking[std::size_t(m.which)];
            const QSignalBlocker b1(m.stepper);
            const QSignalBlocker b2(m.field);
            m.stepper->setValue(value);
            m.field->setValue(value);
        }
        break;
    case PanelGroup::PopEnables:
        setChecked(ui.checkBoxPopStreamerAccum, st.popStreamerAccum);
        setChecked(ui.checkBoxPopPunch, st.popPunch);
        setChecked(ui.checkBoxPopStreamer, st.popStreamer);
        selectCell(m_popMatrix, st.popCell);
        break;
    case PanelGroup::SdiGenerator: {
        const QSignalBlocker block(ui.comboBoxSdiGenerator);
        ui.comboBoxSdiGenerator->setCurrentIndex(st.sdiGenerator);
        break;
    }
    case PanelGroup::Bypass:
        setChecked(ui.checkBoxBypass, st.bypass);
        break;
    case PanelGroup::DelayTrim: {
        const QSignalBlocker b1(ui.stepperDelayTrim);
        const QSignalBlocker b2(ui.textDelayTrim);
        ui.stepperDelayTrim->setValue(st.delayTrimSteps);
        ui.textDelayTrim->setValue(st.delayTrimSteps / 50.0);
        break;
    }
    case PanelGroup::ColorSpace: {
        const QSignalBlocker block(ui.myColorSpaceComboBox);
        if (st.colorSpaceRow >= 0 && st.colorSpaceRow < ui.myColorSpaceComboBox->count())
            ui.myColorSpaceComboBox->setCurrentIndex(st.colorSpaceRow);
        else
            ui.myColorSpaceComboBox->setCurrentIndex(-1);
        break;
    }
    case PanelGroup::Progress:
        refreshProgress();
        break;
    case PanelGroup::UnitMemory:
        refreshUnitMemory();
        break;
    }
}

void qz62View::refreshProgress() {
    const ProgressState& p = m_controller.parser().progress();
    m_ui->progressBarUpdate->setVisible(p.visible);
    m_ui->labelUpdate->setVisible(p.visible);
    // A maximum of 0 would turn the bar into a busy indicator.
    const int maximum = qMax(p.maximum, 1);
    m_ui->progressBarUpdate->setMaximum(maximum);
    m_ui->progressBarUpdate->setValue(qBound(0, p.value, maximum));
    m_ui->labelUpdate->setText(p.label);
}

void qz62View::refreshUnitMemory() {
    const UnitMemory& mem = m_controller.parser().memory();
    if (mem.firmwareVersion.isEmpty())
        m_ui->labelFirmware->setText(QStringLiteral("—"));
    else
        m_ui->labelFirmware->setText(QStringLiteral("%1 (settings at %2, %3 bytes)")
                                         .arg(mem.firmwareVersion)
                                         .arg(mem.stateAddress, 0, 16)
                                         .arg(mem.stateSize));
}

void qz62View::onTransferStarted() {
    refresh(PanelGroup::Progress);
    m_ui->tabView->setCurrentIndex(kUnitTab);
}

void qz62View::appendRxLine(const QString& line) {
    if (m_ui->checkBoxInhibitPing->isChecked() && line.contains(QLatin1String("ping")))
        return;
    m_ui->textViewDebugRx->appendPlainText(line);
    QScrollBar* bar = m_ui->textViewDebugRx->verticalScrollBar();
    bar->setValue(bar->maximum());
}

void qz62View::appendDebugText(const QString& text) {
    QString block = text;
    if (block.endsWith(u'\n'))
        block.chop(1);
    m_ui->textViewDebugRx->appendPlainText(block);
    QScrollBar* bar = m_ui->textViewDebugRx->verticalScrollBar();
    bar->setValue(bar->maximum());
}

void qz62View::showLinkState(PanelController::LinkState state, const QString& detail) {
    using S = PanelController::LinkState;
    switch (state) {
    case S::Idle:
        m_linkText = QStringLiteral("Looking for the unit…");
        break;
    case S::Connected: {
        m_linkText = QStringLiteral("Unit connected on %1").arg(detail);
        const ComThread* link = m_controller.comThread();
        const QString latency = link ? link->serialLatencyText() : QString();
        m_ui->labelLatency->setText(latency.isEmpty() ? QStringLiteral("—") : latency);
        break;
    }
    case S::NotFound:
        if (detail.isEmpty())
            m_linkText = QStringLiteral("No unit found: settings are not sent. Check the USB "
                                        "cable, then press Connect.");
        else
            m_linkText = QStringLiteral("No unit found: %1").arg(detail);
        break;
    case S::NotAnswering:
        m_linkText = QStringLiteral("The unit on %1 is not answering: check that it is powered "
                                    "on. Its settings are read again when it answers.")
                         .arg(detail);
        break;
    case S::Lost:
        m_linkText = QStringLiteral("Unit lost (%1): settings are not sent. Check the cable, "
                                    "then press Connect.")
                         .arg(detail);
        break;
    case S::UpdateFailed:
        m_linkText = QStringLiteral("Update failed: power-cycle the unit, then Connect");
        break;
    case S::Closed:
        m_linkText = QStringLiteral("Link closed");
        break;
    }
    // Without a unit on USB the network link may still carry the settings.
    const NetworkLink& network = m_networkPanel->link();
    const bool overNetwork = network.state() == NetworkLink::State::Connected &&
                             (state == S::Idle || state == S::NotFound || state == S::Lost);
    if (overNetwork)
        m_linkText = QStringLiteral("Unit connected over the network (%1)")
                         .arg(network.currentService().name);
    m_ui->labelLinkState->setText(m_linkText);
    const S shown = overNetwork ? S::Connected : state;
    m_ui->linkBanner->setStyleSheet(QString::fromLatin1(bannerStyle(shown)));
    // Connect retries the USB port; with the unit reached over the network
    // there is nothing to retry.
    m_ui->buttonReconnect->setVisible(shown == S::NotFound || shown == S::Lost ||
                                      shown == S::UpdateFailed);
    emit linkStateTextChanged(m_linkText, shown);
}
