// Where the things are that a cycle leaves when it is told to keep them.
#pragma once

#include <string>

#include "simhost/report/report.h"

class KeptThings {
public:
    // image_root: below which the image library keeps images of LSUs that are no directories.
    KeptThings(Report &report, bool keep, std::string image_root);
    // Tells image, mount and made directories, if they were to be kept; also on the way out of a failure.
    ~KeptThings();
    KeptThings(const KeptThings &) = delete;
    KeptThings &operator=(const KeptThings &) = delete;

private:
    Report &m_report;
    bool m_keep;
    std::string m_image_root;
};
