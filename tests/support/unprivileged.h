// Running as nobody in particular, so that file permissions count.
#pragma once

#include <unistd.h>

// While it lives, the process has no root rights, where it had them before.
class Unprivileged {
public:
    Unprivileged() : m_previous(geteuid()) { m_changed = m_previous == 0 && seteuid(65534) == 0; }
    ~Unprivileged() { m_restored = !m_changed || seteuid(m_previous) == 0; }
    Unprivileged(const Unprivileged &) = delete;
    Unprivileged &operator=(const Unprivileged &) = delete;

private:
    uid_t m_previous;
    bool m_changed = false;
    bool m_restored = false;
};
