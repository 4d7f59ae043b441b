#include "link/LinkListener.h"

#include "base/Diagnostics.h"

void LinkListener::threadLinkLost(const QString&) {
    diag::print("parent does not respond to 'threadLinkLost:'\n");
}
