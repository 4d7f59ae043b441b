#include "base/WakePipe.h"

#include <fcntl.h>
#include <unistd.h>

WakePipe::WakePipe() {
    int fds[2];
    if (::pipe(fds) != 0)
        return;
    for (int fd : fds) {
        ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
        ::fcntl(fd, F_SETFD, FD_CLOEXEC);
    }
    m_read = fds[0];
    m_write = fds[1];
}

WakePipe::~WakePipe() {
    if (m_read >= 0)
        ::close(m_read);
    if (m_write >= 0)
        ::close(m_write);
}

void WakePipe::wake() const {
    if (m_write >= 0) {
        const char byte = 1;
        (void)!::write(m_write, &byte, 1);
    }
}

void WakePipe::drain() const {
    char scratch[64];
    while (m_read >= 0 && ::read(m_read, scratch, sizeof scratch) > 0) {
    }
}
