#include "cues/CueFiring.h"

#include "base/QueuedCalls.h"
#include "cues/CueSheet.h"
#include "cues/CueWalk.h"
#include "protocol/CommandSink.h"
#include "protocol/MidiMessages.h"

#include <chrono>

namespace {
// A time that steps back this many frames while running is the same pass
// (quarter frames out of order, a step made up late).
constexpr int kJitterFrames = 2;
// Timecode that brings no step for longer than this many frames has stopped.
constexpr int kStoppedAfterFrames = 2;
// No request pending in m_requestedSelection.
constexpr int kNoRequest = -2;

// a - b taken the short way round the clock.
int circularDiff(int a, int b, int type) {
    const int day = TcCalculator::framesPerDay(type);
    int d = (a - b) % day;
    if (d > day / 2)
        d -= day;
    else if (d <= -day / 2)
        d += day;
    return d;
}

std::int64_t steadyNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}
} // namespace

CueFiringSnapshot::CueFiringSnapshot(std::size_t rowCount)
    : rows(rowCount), firedAt(std::make_unique<std::atomic<int>[]>(rowCount)) {
    for (std::size_t i = 0; i < rowCount; ++i)
        firedAt[i].store(kNotFired, std::memory_order_relaxed);
}

std::unique_ptr<CueFiringSnapshot> CueFiringSnapshot::of(const CueSheet& sheet) {
    auto snapshot = std::make_unique<CueFiringSnapshot>(std::size_t(sheet.count()));
    snapshot->streamerDuration = sheet.stepperStreamerDuration();
    snapshot->selection = sheet.selectionIndex();
    const TcCalculator& tcc = sheet.tcc();
    for (int i = 0; i < sheet.count(); ++i) {
        const CueItem& item = sheet.rows()[i];
        Row& row = snapshot->rows[size_t(i)];
        const QString in = item.getCueIn();
        if (tcc.isTc(in)) {
            for (int type = 0; type < 4; ++type)
                row.inFrames[size_t(type)] = tcc.tcToBinary(in, type);
        }
        row.sysex = midimsg::cueTextSysex(sheet.cueItemText(item));
    }
    return snapshot;
}

void CueFiringSnapshot::keepFiredFrom(const CueFiringSnapshot& older) {
    const std::size_t n = std::min(rows.size(), older.rows.size());
    for (std::size_t i = 0; i < n; ++i) {
        if (rows[i].inFrames != older.rows[i].inFrames)
            continue;
        int expected = kNotFired;
        firedAt[i].compare_exchange_strong(expected, older.firedAt[i].load());
    }
}

bool CueFiringSnapshot::fired(int row) const {
    return row >= 0 && size_t(row) < rows.size() && firedAt[size_t(row)].load() != kNotFired;
}

CueFiring::CueFiring(QObject* mainThread)
    : m_toMain(std::make_unique<QueuedCalls>(mainThread)), m_requestedSelection(kNoRequest) {}

CueFiring::~CueFiring() {
    m_toMain->cancel();
    delete m_pending.exchange(nullptr);
    delete m_retired.exchange(nullptr);
    delete m_current;
}

void CueFiring::publish(std::unique_ptr<CueFiringSnapshot> snapshot, bool sameSheet) {
    // What fired in this pass stays fired in the new copy of the same rows.
    if (m_latest && sameSheet)
        snapshot->keepFiredFrom(*m_latest);
    m_latest = snapshot.get();
    const int snapshotSelection = snapshot->selection;
    if (!sameSheet)
        m_progress.current = -1;
    m_sameSheetPending.store(sameSheet);
    // A snapshot the MIDI thread never took is only ours; one it has given
    // back is no longer read.
    delete m_pending.exchange(snapshot.release(), std::memory_order_acq_rel);
    delete m_retired.exchange(nullptr, std::memory_order_acq_rel);
    updateProgress(snapshotSelection, m_progress.current);
}

void CueFiring::setSelectionIndex(int row) {
    m_requestedSelection.store(row);
    updateProgress(row, m_progress.current);
}

void CueFiring::adoptPublished() {
    CueFiringSnapshot* next = m_pending.exchange(nullptr, std::memory_order_acq_rel);
    if (!next)
        return;
    CueFiringSnapshot* previous = m_current;
    m_current = next;
    m_selection = next->selection;
    // The main thread frees it at its next publish; an older one it has
    // not collected yet is freed here.
    if (previous) {
        if (m_sameSheetPending.load())
            next->keepFiredFrom(*previous);
        delete m_retired.exchange(previous, std::memory_order_acq_rel);
    }
}

void CueFiring::mtcEvent(const QByteArray& mtc) {
    if (mtc.size() < 4)
        return;
    mtcEvent(
        {std::uint8_t(mtc[0]), std::uint8_t(mtc[1]), std::uint8_t(mtc[2]), std::uint8_t(mtc[3])});
}

void CueFiring::mtcEvent(const mtcframe::Frame& mtc) {
    mtcEvent(mtc, steadyNs());
}

void CueFiring::mtcEvent(const mtcframe::Frame& mtc, std::int64_t atNs) {
    adoptPublished();
    const int requested = m_requestedSelection.exchange(kNoRequest, std::memory_order_relaxed);
    if (requested != kNoRequest)
        m_selection = requested;
    const int now = mtcframe::framesSinceMidnight(mtc);
    if (now < 0)
        return;
    const int type = mtcframe::rateCode(mtc);
    const bool restarted = restarts(now, type, atNs);
    m_locatePending = false;
    m_prevNow = now;
    m_prevAtNs = atNs;
    m_passType = type;
    m_lastNow.store(now, std::memory_order_relaxed);
    m_lastType.store(type, std::memory_order_relaxed);
    if (!m_current || m_current->rows.empty())
        return;
    CueFiringSnapshot& snapshot = *m_current;
    if (restarted)
        startPass(snapshot);

    const std::vector<CueFiringSnapshot::Row>& rows = snapshot.rows;
    const int lead = cuewalk::leadFrames(snapshot.streamerDuration, type);
    const cuewalk::Step step =
        cuewalk::walk(int(rows.size()), m_selection, now, type, lead,
                      [&rows, type](int row) { return rows[size_t(row)].inFrames[size_t(type)]; });
    m_selection = step.selection;
    std::array<int, 4> fired{};
    int firedCount = 0;
    if (!m_held.load(std::memory_order_relaxed)) {
        for (int i = 0; i < step.fireCount; ++i) {
            const int row = step.fire[size_t(i)];
            int expected = CueFiringSnapshot::kNotFired;
            if (!snapshot.firedAt[size_t(row)].compare_exchange_strong(expected, now))
                continue; // already fired in this pass
            send(rows[size_t(row)]);
            fired[size_t(firedCount++)] = row;
        }
    }
    // The bytes are out: now the bookkeeping.
    forgetLeft(snapshot, now, type, lead);
    if (firedCount > 0 || restarted || m_selection != m_postedSelection) {
        m_postedSelection = m_selection;
        post(m_selection, fired, firedCount, restarted);
    }
}

void CueFiring::locate(const mtcframe::Frame& /*mtc*/) {
    m_locatePending = true; // the next event starts a new pass
}

// A new pass: after a locate or a change of rate, or when the time comes back
// earlier than it stopped. The first time code ever continues what Fire Next
// did before it.
bool CueFiring::restarts(int now, int type, std::int64_t atNs) const {
    if (m_locatePending)
        return true;
    if (m_passType < 0)
        return false;
    if (type != m_passType)
        return true;
    const std::int64_t stoppedAfterNs =
        std::int64_t(kStoppedAfterFrames) * 1'000'000'000 / TcCalculator::frameRate(type);
    return atNs - m_prevAtNs > stoppedAfterNs && circularDiff(now, m_prevNow, type) < 0;
}

void CueFiring::startPass(CueFiringSnapshot& snapshot) {
    for (std::size_t i = 0; i < snapshot.rows.size(); ++i)
        snapshot.firedAt[i].store(CueFiringSnapshot::kNotFired, std::memory_order_relaxed);
}

// A fired row is forgotten once the time has moved on past its frame, or has
// jumped back before the time it fired at by more than jitter: the next pass
// over it fires it again.
void CueFiring::forgetLeft(CueFiringSnapshot& snapshot, int now, int type, int lead) {
    for (std::size_t i = 0; i < snapshot.rows.size(); ++i) {
        int at = snapshot.firedAt[i].load(std::memory_order_relaxed);
        if (at == CueFiringSnapshot::kNotFired)
            continue;
        const int in = snapshot.rows[i].inFrames[size_t(type)];
        const bool past =
            in == cuewalk::kNoInTime ||
            circularDiff(now, cuewalk::dueFrame(in, lead, type), type) > kJitterFrames;
        const bool before = at >= 0 && circularDiff(now, at, type) < -kJitterFrames;
        if (past || before)
            snapshot.firedAt[i].compare_exchange_strong(at, CueFiringSnapshot::kNotFired);
    }
}

void CueFiring::send(const CueFiringSnapshot::Row& row) {
    if (CommandSink* sink = m_sink.load(std::memory_order_acquire)) {
        sink->sendTimingBytes(midimsg::trigger(midimsg::kAccumulateNote));
        sink->sendTimingBytes(row.sysex);
    }
    m_fired.fetch_add(1, std::memory_order_relaxed);
}

void CueFiring::post(int selection, std::array<int, 4> fired, int firedCount, bool restarted) {
    m_toMain->post([this, selection, fired, firedCount, restarted] {
        int current = restarted ? -1 : m_progress.current;
        if (firedCount > 0)
            current = fired[size_t(firedCount - 1)];
        updateProgress(selection, current);
    });
}

int CueFiring::fireNext() {
    CueFiringSnapshot* snapshot = m_latest;
    if (!snapshot)
        return -1;
    const int lastNow = m_lastNow.load();
    const int seenType = m_lastType.load();
    const int type = seenType < 0 ? 3 : seenType;
    // Before any timecode an unselected sheet starts at its first row.
    const int from = m_progress.selection >= 0 ? m_progress.selection : (lastNow < 0 ? 0 : -1);
    for (int row = from; row >= 0 && size_t(row) < snapshot->rows.size(); ++row) {
        const int in = snapshot->rows[size_t(row)].inFrames[size_t(type)];
        if (in == cuewalk::kNoInTime)
            continue;
        // Fired "as if its frame had come": it stays fired while the time
        // runs on from here (from anywhere before any time code) to just
        // past its frame.
        const int at = lastNow >= 0 ? lastNow : CueFiringSnapshot::kFiredBeforeTimecode;
        int expected = CueFiringSnapshot::kNotFired;
        if (!snapshot->firedAt[size_t(row)].compare_exchange_strong(expected, at))
            continue;
        send(snapshot->rows[size_t(row)]);
        updateProgress(m_progress.selection, row);
        return row;
    }
    return -1;
}

void CueFiring::updateProgress(int selection, int current) {
    Progress p;
    p.selection = selection;
    p.current = current;
    if (m_latest && selection >= 0) {
        for (int row = selection; size_t(row) < m_latest->rows.size(); ++row) {
            if (!m_latest->fired(row) && m_latest->rows[size_t(row)].inFrames[3] >= 0) {
                p.next = row;
                break;
            }
        }
    } else if (m_latest && selection < 0 && m_lastNow.load() < 0 && !m_latest->rows.empty()) {
        p.next = 0;
    }
    const bool changed = p.selection != m_progress.selection || p.next != m_progress.next ||
                         p.current != m_progress.current;
    m_progress = p;
    if (changed && m_onProgress)
        m_onProgress(p);
}
