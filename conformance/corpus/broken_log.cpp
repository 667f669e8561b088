#include "broken_log.h"

#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "real_plugin.h"

namespace broken {

namespace {

struct Shadow {
    sts_session_def_v7_t record{};
    const sts_session_def_v7_t *original = nullptr;
    uint32_t first_mask = 0;
    std::vector<std::pair<std::string, int32_t>> held_back;
};

std::mutex mutex;
std::vector<std::unique_ptr<Shadow>> shadows;
thread_local int silences = 0;

uint32_t spoiled_mask(const Shadow &shadow) {
    const uint32_t mask = shadow.original->log_mask;
    if (is("log.mask-ignored"))
        return 0xff;
    if (is("log.errors-under-trace-bit"))
        return (mask & 1U) | ((mask & 1U) << 3);
    if (is("log.trace-under-error-bit"))
        return (mask & 8U) | ((mask & 8U) >> 3);
    if (is("log.both-bits-needed"))
        return (mask & 9U) == 9U ? mask : 0;
    if (is("log.any-bit-enables-errors"))
        return mask != 0 ? mask | 8U : mask;
    if (is("log.high-bytes-count"))
        return mask | mask >> 8 | mask >> 16;
    if (is("log.mask-of-the-open"))
        return shadow.first_mask;
    return mask;
}

void refresh(Shadow &shadow);

bool ends_in(const std::string &text, const char *end) {
    const std::string tail = end;
    return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

bool is_trace_line(const std::string &text) { return text.rfind("++++ ", 0) == 0 || text.rfind("---- ", 0) == 0; }

bool is_of_simulator(const std::string &text) {
    return text.rfind("Unknown Diskgroup", 0) == 0 || text.rfind("unlink failed", 0) == 0 ||
           text.rfind("symlink failed", 0) == 0 || text.rfind("problem creating", 0) == 0 ||
           ends_in(text, "directory creation failed: ");
}

void forward(Shadow &shadow, std::string text, int32_t level) {
    struct Edit {
        const char *breakage;
        const char *from;
        const char *to;
    };
    static const Edit edits[] = {
        {"open.disk-array-blank-lost", "KELVARPOOL ", "KELVARPOOL"},
        {"open.copan-blank-lost", "STS-DYNAMIC ", "STS-DYNAMIC"},
        {"open.null-host-text", "NULL HOST", "Null host"},
        {"open.exception-text", "StorageServer not found", "Storage server not found"},
        {"create.multi-host-text", "Multi Host handle", "Multi host handle"},
        {"create.single-host-text", "Single Host handle", "Single Host handle "},
        {"create.copan-refusal-text", "create_server should not be called by non-ZEPH storages",
         "create_server should not be called by non-ZEPH storage"},
        {"target.disk-array-blank-lost", "target server not yet implemented for Kelvarpool ",
         "target server not yet implemented for Kelvarpool"},
        {"target.null-host-text", "NULL server handle not supported for target server", "NULL HOST"},
        {"list.single-host-text", "For ZEPH plugins list of hosts is expected for getPoolLSUList",
         "For ZEPH plugins a list of hosts is expected for getPoolLSUList"},
        {"list.dynamic-refusal-text", "open_dynamic_lsu_list is not supported for non-ZEPH storages",
         "open_dynamic_lsu_list is not supported"},
        {"props.null-info-text", "STS: No memory allocated for lsuInfo", "STS: no memory allocated for lsuInfo"},
        {"props.statvfs-blank-lost", "Error calling statvfs, LSU name is: ", "Error calling statvfs, LSU name is:"},
        {"props.copan-path-blank-lost", "The generated mount path is: ", "The generated mount path is:"},
        {"props.copan-copied-blank-lost", "Copied version: ", "Copied version:"},
        {"image.replacing-blank-lost", "Replacing LSU name by its path, original lsu_name is ",
         "Replacing LSU name by its path, original lsu_name is"},
        {"image.new-name-text", "new lsu_name is ", "new lsu name is "},
        {"copan.storage-text", "m_storage_dir directory creation failed: ", "directory creation failed: "},
        {"copan.volume-text", "vol directory creation failed: ", "volume directory creation failed: "},
        {"mount.parent-text", "problem creating mount path directory", "problem creating mount path directory\n"},
    };
    for (const Edit &edit : edits)
        if (is(edit.breakage) && text == edit.from)
            text = edit.to;

    if (is("log.entering-missing") && text.rfind("++++ ", 0) == 0)
        return;
    if (is("log.leaving-missing") && text.rfind("---- ", 0) == 0)
        return;
    if (is("close.leaving-missing") && text == "---- Leaving stspi_close_server\n")
        return;
    if (is("list.entering-missing-at-close") && text == "++++ Entering stspi_close_lsu_list\n")
        return;
    if (is("mount.wrong-trace-name") && text == "++++ Entering stspi_mount_lsu\n")
        text = "++++ Entering mount_lsu\n";
    if (is("log.newline-lost") && is_trace_line(text))
        text.pop_back();
    if (is("log.trace-at-error-level") && level == STS_LOG_LEVEL_TRACE)
        level = STS_LOG_LEVEL_ERROR;
    if (is("open.null-host-at-trace-level") && text == "NULL HOST")
        level = STS_LOG_LEVEL_TRACE;
    if (is("open.name-not-logged") && text == "Kelvarpool:nodeA")
        return;
    if (is("open.exception-name-missing") && text == "copan:arr1" && level == STS_LOG_LEVEL_ERROR)
        return;
    if (is("props.unknown-copan-lsu-not-logged") && text == "vol9")
        return;
    if (is("props.copan-path-logged-once") && text == "Copied version: ")
        return;
    if (is("props.not-found-without-left") && ends_in(text, " not found") && text.find(':') != std::string::npos)
        text = text.substr(text.find(':') + 1);
    if (is("mount.unknown-group-newline-lost") && text.rfind("Unknown Diskgroup", 0) == 0)
        text.pop_back();
    if (is("mount.errno-off-by-one") && text.rfind("unlink failed", 0) == 0)
        text = "unlink failed: errno 20\n";
    if (is("mount.link-errno-missing") && text.rfind("symlink failed", 0) == 0)
        text = "symlink failed\n";
    if (is("log.simulators-obey-mask") && is_of_simulator(text) && (shadow.original->log_mask & 8U) == 0)
        return;
    if (is("copan.volume-path-logged") && ends_in(text, "/cop") && level == STS_LOG_LEVEL_ERROR)
        text += "/no";

    if (is("image.path-told-after-the-call")) {
        // From its first message to its leaving line a call's messages wait.
        thread_local bool waiting = false;
        waiting =
            (waiting || text == "Replacing LSU name by its path, original lsu_name is ") && text.rfind("---- ", 0) != 0;
        if (waiting) {
            shadow.held_back.emplace_back(text, level);
            return;
        }
        std::vector<std::pair<std::string, int32_t>> held;
        held.swap(shadow.held_back);
        for (const auto &[held_text, held_level] : held)
            shadow.original->log_function(shadow.original->log_context, held_text.c_str(), held_level);
    }

    // The message that was held back comes after the next one.
    if (is("log.name-and-reason-swapped") && text == "copan:arr1" && level == STS_LOG_LEVEL_ERROR) {
        shadow.held_back.emplace_back(text, level);
        return;
    }
    const sts_log_function_t function = shadow.original->log_function;
    const uint64_t context = is("log.context-lost") ? 0 : shadow.original->log_context;
    const auto send = [&](const std::string &message, int32_t message_level) {
        if (is("log.from-another-thread"))
            std::thread([&] { function(context, message.c_str(), message_level); }).join();
        else
            function(context, message.c_str(), message_level);
    };
    send(text, level);
    if (is("log.every-message-twice"))
        send(text, level);
    for (const auto &[held, held_level] : shadow.held_back)
        send(held, held_level);
    shadow.held_back.clear();
}

void intercept(uint64_t context, const char *text, int32_t level) {
    auto &shadow = *reinterpret_cast<Shadow *>(context);  // NOLINT(performance-no-int-to-ptr)
    if (silences > 0)
        return;
    std::string message = text;
    if (is("image.prop-byname-traces-own-name") && message.find("stspi_delete_image") != std::string::npos)
        message.replace(message.find("stspi_delete_image"), 18, "stspi_get_image_prop_byname");
    if (is("log.lock-held-during-callback")) {
        static std::mutex callback_lock;
        const std::lock_guard lock(callback_lock);
        forward(shadow, message, level);
    } else {
        forward(shadow, message, level);
    }
    // The framework's function may have changed its session.
    if (!is("log.mask-asked-once-a-call"))
        refresh(shadow);
}

void refresh(Shadow &shadow) {
    shadow.record.log_context = reinterpret_cast<uint64_t>(&shadow);
    shadow.record.log_function = shadow.original->log_function == nullptr ? nullptr : intercept;
    shadow.record.log_mask = spoiled_mask(shadow);
}

}  // namespace

const sts_session_def_v7_t *shadow(const sts_session_def_v7_t *session) {
    if (session == nullptr)
        return nullptr;
    const std::lock_guard lock(mutex);
    for (const auto &one : shadows)
        if (one->original == session)
            return &one->record;
    Shadow &made = *shadows.emplace_back(std::make_unique<Shadow>());
    made.original = session;
    made.first_mask = session->log_mask;
    refresh(made);
    return &made.record;
}

void refresh_shadows() {
    const std::lock_guard lock(mutex);
    for (const auto &one : shadows)
        refresh(*one);
}

void say(const sts_session_def_v7_t *session, int32_t level, const char *text) {
    const uint32_t bit = level == STS_LOG_LEVEL_TRACE ? STS_LOG_MASK_TRACE : STS_LOG_MASK_ERROR;
    if (session != nullptr && session->log_function != nullptr && (session->log_mask & bit) != 0)
        session->log_function(session->log_context, text, level);
}

Silence::Silence() { ++silences; }
Silence::~Silence() { --silences; }

}  // namespace broken
