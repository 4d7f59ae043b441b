#include "app/TakeControl.h"

#include "cues/CueDocument.h"
#include "cues/view/CueTableView.h"
#include "cues/view/CueWindow.h"
#include "midi/MidiController.h"
#include "timecode/TcCalculator.h"

#include <QItemSelectionModel>
#include <QLabel>

namespace {
constexpr int kDropFrame = 2;

QLabel* counterOf(CueWindow* window) {
    return window->findChild<QLabel*>(QStringLiteral("labelTimecodeCounter"));
}
} // namespace

TakeControl::TakeControl(std::function<CueWindow*()> front, QObject* parent)
    : QObject(parent), m_front(std::move(front)) {
    setFollowing(tr("No sheet armed"));
}

TakeControl::~TakeControl() {
    attach(nullptr);
}

void TakeControl::addWindow(CueWindow* window) {
    m_windows.append(window);
    connectWindow(window);
    window->setArmed(false);
    showTimecodeState(window);
    if (!m_armed && m_autoArm)
        arm(window);
}

void TakeControl::connectWindow(CueWindow* window) {
    CueDocument* doc = window->document();
    // The MIDI thread fires from a copy of the armed sheet: refresh it on
    // every change that moves a cue, its text or the streamer's lead.
    for (auto signal :
         {&CueDocument::rowsChanged, &CueDocument::rowsReset, &CueDocument::settingsChanged}) {
        connect(doc, signal, this, [this, window] {
            if (window == m_armed)
                publishArmed();
        });
    }
    connect(doc, &CueDocument::cellChanged, this, [this, window] {
        if (window == m_armed)
            publishArmed();
    });
    connect(doc, &CueDocument::filePathChanged, this, [this, window] {
        if (window == m_armed)
            setFollowing(tr("Following %1").arg(window->document()->displayName()));
    });
    connect(window->table()->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this, window] {
                if (window == m_armed && m_firing)
                    m_firing->setSelectionIndex(window->table()->firstSelectedRow());
            });
    connect(window, &CueWindow::armRequested, this, &TakeControl::arm);
    connect(window, &CueWindow::holdRequested, this, &TakeControl::setHeld);
    connect(window, &CueWindow::fireNextRequested, this, [this, window] {
        if (window == m_armed)
            fireNext();
    });
    connect(window, &CueWindow::timecodeWarningAction, this, [this] {
        if (m_midi)
            m_midi->setExactDropFrame(true);
        showWarnings();
    });
    if (m_midi) {
        if (QLabel* counter = counterOf(window)) {
            counter->setText(m_midi->counterText());
            connect(m_midi, &MidiController::counterChanged, counter, &QLabel::setText);
        }
    }
}

void TakeControl::removeWindow(CueWindow* window) {
    m_windows.removeIf([window](const QPointer<CueWindow>& w) { return !w || w == window; });
    if (window != m_armed)
        return;
    const QString name = window->document()->displayName();
    m_armed = nullptr;
    m_autoArm = false;
    publishArmed();
    setFollowing(tr("No sheet armed: %1 was closed. Arm a sheet (Cues > Arm This Sheet) or start "
                    "time code from stopped to fire cues.")
                     .arg(name));
    if (CueWindow* front = m_front(); front && front != window)
        front->showMessage(m_following);
    emit takeChanged();
}

void TakeControl::arm(CueWindow* window) {
    if (!window || window == m_armed)
        return;
    if (m_armed)
        m_armed->setArmed(false);
    m_armed = window;
    window->setArmed(true);
    window->setHeld(m_firing && m_firing->held());
    // A different sheet: nothing of it has fired in this pass.
    if (m_firing)
        m_firing->publish(CueFiringSnapshot::of(window->document()->sheet()), false);
    publishArmed();
    setFollowing(tr("Following %1").arg(window->document()->displayName()));
    showWarnings();
    emit takeChanged();
}

void TakeControl::publishArmed() {
    if (!m_firing)
        return;
    if (m_armed) {
        m_firing->publish(m_armed->document()->sheet());
        m_firing->setSelectionIndex(m_armed->table()->firstSelectedRow());
    } else {
        m_firing->publish(std::make_unique<CueFiringSnapshot>());
    }
}

void TakeControl::attach(MidiController* midi) {
    if (m_midi)
        m_midi->setTimecodeListener(nullptr);
    if (m_midi && m_midi != midi)
        m_midi->disconnect(this);
    m_midi = midi;
    if (!midi) {
        m_firing.reset();
        return;
    }
    if (!m_firing) {
        m_firing = std::make_unique<CueFiring>(this);
        m_firing->setProgressHandler(
            [this](const CueFiring::Progress& progress) { showProgress(progress); });
    }
    m_firing->setCommandSink(m_sink);
    publishArmed();
    midi->setTimecodeListener(m_firing.get());
    connect(midi, &MidiController::timecodeStateChanged, this, &TakeControl::timecodeStateChanged);
    connect(midi, &MidiController::counterChanged, this, &TakeControl::takeChanged);
    for (CueWindow* w : m_windows) {
        if (QLabel* counter = w ? counterOf(w) : nullptr) {
            counter->setText(midi->counterText());
            connect(midi, &MidiController::counterChanged, counter, &QLabel::setText);
        }
    }
}

void TakeControl::setCommandSink(CommandSink* sink) {
    m_sink = sink;
    if (m_firing)
        m_firing->setCommandSink(sink);
}

// The time code has reached the next cue to come: select it as the user
// would, which also shows its text on the unit (not while held). With no cue
// ahead nothing stays selected.
void TakeControl::showProgress(const CueFiring::Progress& progress) {
    emit takeChanged();
    if (!m_armed)
        return;
    CueTableView* table = m_armed->table();
    if (progress.selection < 0) {
        if (table->firstSelectedRow() >= 0)
            table->clearSelection();
        return;
    }
    if (progress.selection == table->firstSelectedRow())
        return;
    if (m_firing->held())
        m_armed->selectRowQuietly(progress.selection);
    else
        table->selectRow(progress.selection);
}

void TakeControl::setHeld(bool held) {
    if (!m_firing)
        return;
    m_firing->setHeld(held);
    if (m_armed)
        m_armed->setHeld(held);
    emit takeChanged();
}

void TakeControl::fireNext() {
    if (!m_firing || !m_armed)
        return;
    if (m_firing->fireNext() < 0)
        m_armed->showMessage(tr("Fire Next: no cue ahead"));
    emit takeChanged();
}

void TakeControl::timecodeStateChanged() {
    const bool running = m_midi->timecodeRunning();
    if (running && !m_running && !m_armed && m_front())
        arm(m_front());
    m_running = running;
    for (CueWindow* w : m_windows) {
        if (w)
            showTimecodeState(w);
    }
    showWarnings();
    emit takeChanged();
}

void TakeControl::showTimecodeState(CueWindow* window) const {
    if (m_midi)
        window->setTimecodeState(MidiController::rateText(m_midi->incomingRate()),
                                 m_midi->timecodeRunning());
}

void TakeControl::showWarnings() {
    for (CueWindow* w : m_windows) {
        if (w && w != m_armed)
            w->showTimecodeWarning(QString());
    }
    if (!m_armed)
        return;
    const int rate = m_midi ? m_midi->incomingRate() : -1;
    QStringList lines;
    QString action;
    if (rate == kDropFrame && !m_midi->exactDropFrame()) {
        lines << tr("29.97 drop-frame time code is arriving and \u201cCount drop-frame timecode "
                    "exactly\u201d is off: cues due on frames 00 and 01 of most seconds never "
                    "fire.");
        action = tr("Count Exactly");
    }
    const int sheetType = m_armed->document()->settings().tctype;
    if (rate >= 0 && rate != sheetType) {
        lines << tr("Time code arrives at %1, but this sheet is timed at %2: its cues fire at "
                    "the incoming rate.")
                     .arg(TcCalculator::rateName(rate), TcCalculator::rateName(sheetType));
    }
    m_armed->showTimecodeWarning(lines.join(QLatin1Char('\n')), action);
}

void TakeControl::setFollowing(const QString& text) {
    if (text == m_following)
        return;
    m_following = text;
    emit followingChanged(text);
}

TakeState TakeControl::takeState() const {
    TakeState s;
    if (m_midi) {
        s.timecode = m_midi->counterText();
        s.rate = MidiController::rateText(m_midi->incomingRate());
        s.running = m_midi->timecodeRunning();
    }
    s.held = m_firing && m_firing->held();
    if (!m_armed || !m_firing)
        return s;
    const CueDocument* doc = m_armed->document();
    s.sheetName = doc->displayName();
    const CueFiring::Progress p = m_firing->progress();
    const QList<CueItem>& rows = doc->rows();
    if (p.current >= 0 && p.current < rows.size()) {
        s.hasCurrent = true;
        s.currentId = rows[p.current].cueId;
        s.currentText = rows[p.current].cueText;
    }
    if (p.next >= 0 && p.next < rows.size()) {
        s.hasNext = true;
        s.nextId = rows[p.next].cueId;
        s.nextText = rows[p.next].cueText;
        const mtcframe::Frame time = m_midi ? m_midi->counterTime() : mtcframe::Frame{};
        const int now = mtcframe::framesSinceMidnight(time);
        const int type =
            m_midi && m_midi->incomingRate() >= 0 ? m_midi->incomingRate() : doc->settings().tctype;
        const QString in = rows[p.next].getCueIn();
        if (now >= 0 && m_midi && m_midi->incomingRate() >= 0 && doc->sheet().tcc().isTc(in)) {
            const int d =
                TcCalculator::compareFrames(doc->sheet().tcc().tcToBinary(in, type), now, type) >= 0
                    ? (doc->sheet().tcc().tcToBinary(in, type) - now +
                       TcCalculator::framesPerDay(type)) %
                          TcCalculator::framesPerDay(type)
                    : -1;
            const int fps = TcCalculator::frameRate(type);
            if (d >= 0)
                s.countdown = tr("%1 s %2 fr").arg(d / fps).arg(d % fps, 2, 10, QLatin1Char('0'));
        }
    }
    return s;
}
