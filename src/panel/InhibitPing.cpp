#include "panel/InhibitPing.h"

std::atomic<bool> inhibitPing{false};
