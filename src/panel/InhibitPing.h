#pragma once

#include <atomic>

// Process-wide: while set, the control panel sends no keep-alive "ping". The
// update procedures set it before they talk to the unit's boot loader; the
// unit's "S" reply and the end of a network update ("u 0") clear it.
extern std::atomic<bool> inhibitPing;
