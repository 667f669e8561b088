#include "simhost/host/directory_cleanup.h"

#include "base/escaped_text.h"
#include "simhost/host/made_directories.h"

DirectoryCleanup::DirectoryCleanup(Report &report, Remaining remaining) : m_report(report), m_remaining(remaining) {
    record_made_directories();
}

DirectoryCleanup::~DirectoryCleanup() {
    if (m_keep)
        return;
    for (const std::string &path : remove_made_directories())
        if (m_remaining == Remaining::warn)
            m_report.warn(fmt::format("{} was made by this run and is not empty; it stays", printable(path)));
}
