#include "cues/CueFiring.h"

#include "base/QueuedCalls.h"
#include "cues/CueSheet.h"
#include "protocol/CommandSink.h"
#include "protocol/MidiMessages.h"

#include <algorithm>
#include <cstdlib>

namespace {
constexpr int kRowsLookedAt = 4; // several cues may share a frame
// A time that comes back within this many frames of a fired frame is the same
// pass over it (quarter frames out of order, a step made up late).
constexpr int kPassFrames = 2;
// No request pending in m_requestedSelection.
constexpr int kNoRequest = -2;

// Frames since midnight of a received time, as TcCalculator counts them for
// the type; -1 when the time is not one (the fields of a valid HH:MM:SS:FF).
// Worked out here without strings or the timecode pattern, so the MIDI thread
// neither allocates nor shares the pattern's lock with the main thread.
int framesOf(int hours, int minutes, int seconds, int frames, int type) {
    if (hours > 23 || minutes > 59 || seconds > 59 || frames > 29)
        return -1;
    if (type == 2)
        return frames + seconds * 30 + minutes * 30 * 60 + hours * 30 * 3600 - hours * 108 -
               (minutes / 10) * 18 - (minutes % 10) * 2;
    const int rate = TcCalculator::frameRate(type);
    return frames + seconds * rate + minutes * rate * 60 + hours * rate * 3600;
}

} // namespace

int CueFiringSnapshot::leadFrames(int type) const {
    return streamerDuration * TcCalculator::frameRate(type) / 50;
}

std::unique_ptr<CueFiringSnapshot> CueFiringSnapshot::of(const CueSheet& sheet) {
    auto snapshot = std::make_unique<CueFiringSnapshot>();
    snapshot->streamerDuration = sheet.stepperStreamerDuration();
    snapshot->selection = sheet.selectionIndex();
    snapshot->rows.reserve(size_t(sheet.count()));
    const TcCalculator& tcc = sheet.tcc();
    for (const CueItem& item : sheet.rows()) {
        Row row;
        const QString in = item.getCueIn();
        if (tcc.isTc(in)) {
            for (int type = 0; type < 4; ++type)
                row.inFrames[size_t(type)] = tcc.tcToBinary(in, type);
        }
        row.sysex = midimsg::cueTextSysex(sheet.cueItemText(item));
        snapshot->rows.push_back(std::move(row));
    }
    return snapshot;
}

CueFiring::CueFiring(QObject* mainThread)
    : m_toMain(std::make_unique<QueuedCalls>(mainThread)), m_requestedSelection(kNoRequest) {}

CueFiring::~CueFiring() {
    m_toMain->cancel();
    delete m_pending.exchange(nullptr);
    delete m_retired.exchange(nullptr);
    delete m_current;
}

void CueFiring::publish(std::unique_ptr<CueFiringSnapshot> snapshot) {
    // A snapshot the MIDI thread never took is only ours; one it has given
    // back is no longer read.
    delete m_pending.exchange(snapshot.release(), std::memory_order_acq_rel);
    delete m_retired.exchange(nullptr, std::memory_order_acq_rel);
}

void CueFiring::adoptPublished() {
    CueFiringSnapshot* next = m_pending.exchange(nullptr, std::memory_order_acq_rel);
    if (!next)
        return;
    CueFiringSnapshot* previous = m_current;
    m_current = next;
    m_selection = next->selection;
    m_passCount = 0;
    // The main thread frees it at its next publish; an older one it has
    // not collected yet is freed here.
    if (previous)
        delete m_retired.exchange(previous, std::memory_order_acq_rel);
}

void CueFiring::mtcEvent(const QByteArray& mtc) {
    if (mtc.size() < 4)
        return;
    mtcEvent(
        {std::uint8_t(mtc[0]), std::uint8_t(mtc[1]), std::uint8_t(mtc[2]), std::uint8_t(mtc[3])});
}

void CueFiring::mtcEvent(const std::array<std::uint8_t, 4>& mtc) {
    adoptPublished();
    const int requested = m_requestedSelection.exchange(kNoRequest, std::memory_order_relaxed);
    if (requested != kNoRequest)
        m_selection = requested;
    if (!m_current)
        return;

    const int hours = mtc[0] & 0x1F;
    const int type = (mtc[0] & 0x60) >> 5;
    const int now = framesOf(hours, mtc[1], mtc[2], mtc[3], type);
    if (now < 0)
        return;
    if (m_current->rows.empty())
        return;

    const Decision decision = decide(*m_current, m_selection, now, type);
    m_selection = decision.selection;
    const bool again = firedThisPass(now, type);
    if (decision.fireCount > 0 && !again) {
        rememberFired(now);
        if (CommandSink* sink = m_sink.load(std::memory_order_acquire)) {
            for (int i = 0; i < decision.fireCount; ++i) {
                sink->sendMidiTrigger(midimsg::kAccumulateNote);
                sink->sendBytes(m_current->rows[size_t(decision.fire[size_t(i)])].sysex);
            }
        }
        m_fired.fetch_add(decision.fireCount, std::memory_order_relaxed);
    }
    if (m_selection != m_postedSelection) {
        m_postedSelection = m_selection;
        const int row = m_selection;
        m_toMain->post([this, row] {
            if (m_onSelection)
                m_onSelection(row);
        });
    }
}

bool CueFiring::firedThisPass(int now, int type) {
    if (type != m_passType) {
        m_passType = type;
        m_passCount = 0;
    }
    // Frames the time has moved well away from belong to an earlier pass.
    const int day = TcCalculator::framesPerDay(type);
    int kept = 0;
    bool seen = false;
    for (int i = 0; i < m_passCount; ++i) {
        const int frame = m_passFrames[size_t(i)];
        int distance = std::abs(now - frame) % day;
        distance = std::min(distance, day - distance);
        if (distance > kPassFrames)
            continue;
        seen = seen || frame == now;
        m_passFrames[size_t(kept++)] = frame;
    }
    m_passCount = kept;
    return seen;
}

void CueFiring::rememberFired(int now) {
    if (m_passCount < int(m_passFrames.size()))
        m_passFrames[size_t(m_passCount++)] = now;
}

CueFiring::Decision CueFiring::decide(const CueFiringSnapshot& snapshot, int selection, int now,
                                      int type) {
    Decision decision;
    const int n = int(snapshot.rows.size());
    if (n == 0)
        return decision;
    const int lead = snapshot.leadFrames(type);
    auto inFrames = [&](int row) { return snapshot.rows[size_t(row)].inFrames[size_t(type)]; };
    auto order = [&](int row) { return TcCalculator::compareFrames(now, inFrames(row), type); };

    // Back from the selection while the rows are not earlier than now, then
    // forward past every row not later than now: the next cue to come.
    int index = selection >= n ? n - 1 : selection;
    while (index >= 1 && order(index) <= 0)
        --index;
    if (index < 0)
        index = 0;
    while (index < n && order(index) >= 0)
        ++index;
    decision.selection = index < n ? index : -1;

    for (int i = index; i < n && i < index + kRowsLookedAt; ++i) {
        if (now == inFrames(i) - lead)
            decision.fire[size_t(decision.fireCount++)] = i;
    }
    return decision;
}
