// Takes away, at the very end, the directories that a command made the plug-in make.
#pragma once

#include "simhost/report/report.h"

class DirectoryCleanup {
public:
    // What to do with a directory that is not empty, and so stays: say it, or take it as meant.
    enum class Remaining { warn, accept };

    DirectoryCleanup(Report &report, Remaining remaining);
    ~DirectoryCleanup();
    DirectoryCleanup(const DirectoryCleanup &) = delete;
    DirectoryCleanup &operator=(const DirectoryCleanup &) = delete;

    // Leaves them all.
    void keep() { m_keep = true; }

private:
    Report &m_report;
    Remaining m_remaining;
    bool m_keep = false;
};
