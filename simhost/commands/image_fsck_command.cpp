// simhost image fsck: what the substitute image library keeps is looked through, and what belongs to no image removed.
#include <fmt/format.h>

#include "base/escaped_text.h"
#include "simhost/commands/command_line.h"
#include "simhost/host/image_check.h"
#include "simhost/host/image_root.h"
#include "simhost/host/interrupt.h"
#include "simhost/report/progress_bar.h"
#include "simhost/report/quantities.h"
#include "simhost/report/text_table.h"

namespace {

struct FsckOptions {
    std::vector<std::string> lsus;
    bool remove = false;
    bool verify = false;
};

const char *name_of_kind(int32_t kind) {
    switch (kind) {
        case STSIMG_FOUND_DRAFT:
            return "draft";
        case STSIMG_FOUND_DELETED:
            return "deleted";
        default:
            return "orphan";
    }
}

class Fsck {
public:
    Fsck(const FsckOptions &options, Report &report)
        : m_options(options), m_report(report), m_bar("verify", std::nullopt, report.shows_progress()) {}

    void run(const HostOptions &host);

private:
    void take(const sts_image_finding_t &finding);
    void take_lsu(const sts_image_finding_t &finding);
    void take_image(const sts_image_finding_t &finding);
    void take_leftover(const sts_image_finding_t &finding);
    void tell();

    const FsckOptions &m_options;
    Report &m_report;
    ProgressBar m_bar;
    TextTable m_table{{"LSU", "IMAGE", "WHAT", ">BYTES", "STATE"}};
    size_t m_lsus = 0, m_unreadable = 0;
    size_t m_leftovers = 0, m_removed = 0, m_in_use = 0;
    size_t m_whole = 0, m_damaged = 0;
    uint64_t m_verified_bytes = 0;
};

void Fsck::run(const HostOptions &host) {
    if (!host.image_root.empty())
        use_image_root(host.image_root);
    const PluginLibrary library(host.plugin.empty() ? default_plugin_path() : host.plugin, host.image_library, "");
    for (const char *list : {"leftovers", "damaged", "unreadable_lsus"})
        m_report.result()[list] = Json::array();
    uint32_t flags = 0;
    if (m_options.remove)
        flags |= STSIMG_CHECK_REMOVE;
    if (m_options.verify)
        flags |= STSIMG_CHECK_VERIFY;
    const auto take_finding = [this](const sts_image_finding_t &finding) { take(finding); };
    if (m_options.lsus.empty())
        check_images(library, std::nullopt, flags, take_finding);
    for (const std::string &lsu : m_options.lsus)
        check_images(library, lsu, flags, take_finding);
    tell();
}

void Fsck::take(const sts_image_finding_t &finding) {
    stop_if_interrupted();
    switch (finding.kind) {
        case STSIMG_FOUND_LSU:
            return take_lsu(finding);
        case STSIMG_FOUND_IMAGE:
            return take_image(finding);
        default:
            return take_leftover(finding);
    }
}

void Fsck::take_lsu(const sts_image_finding_t &finding) {
    ++m_lsus;
    if (finding.status == 0)
        return;
    ++m_unreadable;
    m_report.error(fmt::format("{}: {}", printable(finding.lsu), finding.failure));
    m_report.result()["unreadable_lsus"].push_back({{"lsu", finding.lsu}, {"failure", finding.failure}});
}

void Fsck::take_image(const sts_image_finding_t &finding) {
    m_verified_bytes += finding.size_bytes;
    m_bar.update(m_verified_bytes);
    if (finding.status == 0) {
        ++m_whole;
        return;
    }
    ++m_damaged;
    m_report.error(fmt::format("{}, image {}: {}", printable(finding.lsu), printable(finding.name), finding.failure));
    m_report.result()["damaged"].push_back(
        {{"lsu", finding.lsu}, {"name", finding.name}, {"status", finding.status}, {"failure", finding.failure}});
}

void Fsck::take_leftover(const sts_image_finding_t &finding) {
    ++m_leftovers;
    const char *state = m_options.remove ? "cannot be removed" : "not needed";
    if (finding.removed != 0) {
        state = "removed";
        ++m_removed;
    } else if (finding.in_use != 0) {
        state = "in use";
        ++m_in_use;
    }
    const auto text = [](const char *known) { return *known == '\0' ? "-" : printable(known); };
    m_table.add({text(finding.lsu), text(finding.name), name_of_kind(finding.kind),
                 finding.size_bytes == 0 ? "?" : bytes_in_table(finding.size_bytes), state});
    m_report.result()["leftovers"].push_back({{"lsu", finding.lsu},
                                              {"name", finding.name},
                                              {"kind", name_of_kind(finding.kind)},
                                              {"path", finding.path},
                                              {"size_bytes", finding.size_bytes},
                                              {"state", state}});
}

void Fsck::tell() {
    if (m_leftovers > 0)
        m_report.lines(m_table.lines());
    const size_t left = m_leftovers - m_removed - m_in_use;
    m_report.line("{} LSU{} looked through: {} in use, {} removed, {} {}", m_lsus, m_lsus == 1 ? "" : "s", m_in_use,
                  m_removed, left, m_options.remove ? "cannot be removed" : "not needed");
    if (m_options.verify)
        m_report.line("{} images are whole, {} damaged; {} read", m_whole, m_damaged, bytes_in_words(m_verified_bytes));
    m_report.result()["lsus"] = m_lsus;
    m_report.result()["in_use"] = m_in_use;
    m_report.result()["removed"] = m_removed;
    m_report.result()["left"] = left;
    if (m_options.verify)
        m_report.result()["whole"] = m_whole;
    if (m_damaged > 0 || m_unreadable > 0 || (m_options.remove && left > 0))
        throw BadAnswer(
            fmt::format("{} damaged images, {} LSUs that could not be looked through, {} left that should go",
                        m_damaged, m_unreadable, m_options.remove ? left : 0));
}

}  // namespace

void add_image_fsck_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<FsckOptions>();
    CLI::App *command = add_command(app, "fsck", "Look for what belongs to no image, in all LSUs of a store");
    command->add_option("LSU", options->lsus, "Only these: a pool, or /DIRECTORY (default: all below the root)");
    command->add_flag("--remove", options->remove, "Remove what nobody needs any more");
    command->add_flag("--verify", options->verify, "Read all of every image, and check it");
    add_progress_option(*command, line.output);
    add_plugin_options(*command, line.host);
    add_output_options(*command, line.output);
    command->footer(
        "Writers and hosts that died leave drafts, and parts of images that were\n"
        "deleted. What a live writer or reader of any host needs is told of and left\n"
        "alone. No server is opened: the image library alone is asked, and it must be\n"
        "the substitute.");
    command->callback([options, &line] {
        line.command = "image fsck";
        line.action = [options, &line](Workbench &bench) { Fsck(*options, bench.report).run(line.host); };
    });
}
