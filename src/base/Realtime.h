#pragma once

// Real-time scheduling for the timing path (the MIDI callback thread and the
// link's writer), only when the user asks for it: QZ62_REALTIME=1 in the
// environment. Never required: where the system refuses (no rtprio limit,
// no capability), the thread runs as before and one line says so.
namespace realtime {

// Whether the user asked for it (read once).
bool requested();
// When requested, gives the calling thread round-robin real-time priority
// `priority` (1-99); `what` names it in the log. Once per thread; false when
// not requested or refused.
bool raiseCurrentThread(const char* what, int priority);

} // namespace realtime
