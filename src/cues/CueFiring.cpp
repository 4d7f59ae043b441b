#include "cues/CueFiring.h"

#include "base/QueuedCalls.h"
#include "cues/CueSheet.h"
#include "cues/CueWalk.h"
#include "protocol/CommandSink.h"
#include "protocol/MidiMessages.h"

#include <algorithm>
#include <cstdlib>

namespace {
// A time that comes back within this many frames of a fired frame is the same
// pass over it (quarter frames out of order, a step made up late).
constexpr int kPassFrames = 2;
// No request pending in m_requestedSelection.
constexpr int kNoRequest = -2;
} // namespace

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

void CueFiring::mtcEvent(const mtcframe::Frame& mtc) {
    adoptPublished();
    const int requested = m_requestedSelection.exchange(kNoRequest, std::memory_order_relaxed);
    if (requested != kNoRequest)
        m_selection = requested;
    if (!m_current)
        return;
    const int now = mtcframe::framesSinceMidnight(mtc);
    if (now < 0 || m_current->rows.empty())
        return;

    const int type = mtcframe::rateCode(mtc);
    const std::vector<CueFiringSnapshot::Row>& rows = m_current->rows;
    const cuewalk::Step step =
        cuewalk::walk(int(rows.size()), m_selection, now, type,
                      cuewalk::leadFrames(m_current->streamerDuration, type),
                      [&rows, type](int row) { return rows[size_t(row)].inFrames[size_t(type)]; });
    m_selection = step.selection;
    const bool again = firedThisPass(now, type);
    if (step.fireCount > 0 && !again) {
        rememberFired(now);
        if (CommandSink* sink = m_sink.load(std::memory_order_acquire)) {
            for (int i = 0; i < step.fireCount; ++i) {
                sink->sendTimingBytes(midimsg::trigger(midimsg::kAccumulateNote));
                sink->sendTimingBytes(rows[size_t(step.fire[size_t(i)])].sysex);
            }
        }
        m_fired.fetch_add(step.fireCount, std::memory_order_relaxed);
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
