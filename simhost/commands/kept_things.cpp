#include "simhost/commands/kept_things.h"

#include <utility>

#include "base/escaped_text.h"
#include "simhost/host/made_directories.h"

KeptThings::KeptThings(Report &report, bool keep, std::string image_root)
    : m_report(report), m_keep(keep), m_image_root(std::move(image_root)) {}

KeptThings::~KeptThings() {
    if (!m_keep)
        return;
    Json &result = m_report.result();
    const auto text = [&result](const char *object, const char *key) { return result[object][key].get<std::string>(); };
    const bool is_mounted = result.contains("mount");
    if (is_mounted || result.contains("image"))
        m_report.line("");
    if (result.contains("image"))
        m_report.line("kept image     {} on {}{}", in_quotes(text("image", "name")), in_quotes(text("image", "lsu")),
                      is_mounted ? ", below " + printable(m_image_root) : "");
    if (is_mounted)
        m_report.line("kept mount     {} -> {}", printable(text("mount", "mount_point")),
                      printable(text("mount", "directory")));
    for (const std::string &directory : made_directories())
        m_report.line("made           {}", printable(directory));
    result["kept"] = {{"image_root", m_image_root}, {"directories", made_directories()}};
}
