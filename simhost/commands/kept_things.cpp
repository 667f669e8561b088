#include "simhost/commands/kept_things.h"

#include "base/escaped_text.h"
#include "simhost/host/made_directories.h"

void tell_kept_things(Report &report, const std::string &image_root) {
    Json &result = report.result();
    const auto text = [&result](const char *object, const char *key) { return result[object][key].get<std::string>(); };
    const bool is_mounted = result.contains("mount");
    if (is_mounted || result.contains("image"))
        report.line("");
    if (result.contains("image"))
        report.line("kept image     {} on {}{}", in_quotes(text("image", "name")), in_quotes(text("image", "lsu")),
                    is_mounted ? ", below " + printable(image_root) : "");
    if (is_mounted)
        report.line("kept mount     {} -> {}", printable(text("mount", "mount_point")),
                    printable(text("mount", "directory")));
    for (const std::string &directory : made_directories())
        report.line("made           {}", printable(directory));
    result["kept"] = {{"image_root", image_root}, {"directories", made_directories()}};
}
