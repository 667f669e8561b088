#include "simhost/load/load_target.h"

#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <initializer_list>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "base/escaped_text.h"
#include "simhost/host/made_directories.h"
#include "simhost/host/mount_point.h"
#include "simhost/host/server.h"

namespace {

// Records go from one process to the other as they are.
template <class Record>
Json bytes_of(const Record &record) {
    const auto *bytes = reinterpret_cast<const unsigned char *>(&record);
    return std::vector<unsigned char>(bytes, bytes + sizeof record);
}

template <class Record>
void take_bytes(const Json &told, Record &record) {
    const auto bytes = told.get<std::vector<unsigned char>>();
    std::copy_n(bytes.begin(), std::min(bytes.size(), sizeof record), reinterpret_cast<unsigned char *>(&record));
}

Json look(const LoadTarget &target, const std::vector<std::string> &wanted, bool mounts) {
    record_made_directories();
    CapturedStdout captured;
    OutputOptions output;
    output.json = true;
    Report report("load", output, captured.own_output());
    HostOptions options;
    options.plugin = target.plain_plugin;
    options.image_library = target.image_library;
    Host host(options, report, captured);
    demand_claim(host, target.server);
    Json places = Json::array();
    const ServerKind kind = kind_of_server(host, target.server);
    Server server(host, target.server, target.hosts);
    const std::vector<std::string> listed = server.list_lsus();
    if (listed.empty())
        throw BadAnswer(server.why_no_lsus());
    for (const std::string &lsu : wanted)
        if (std::find(listed.begin(), listed.end(), lsu) == listed.end())
            throw BadAnswer(fmt::format("the plug-in lists no LSU {}; it lists: {}", in_quotes(lsu), joined(listed)));
    if (mounts && kind == ServerKind::copan)
        throw UsageError("mounts are for disk arrays; this server is a Copan array: take mount out of the mix");
    for (const std::string &lsu : wanted.empty() ? listed : wanted) {
        std::string volume;
        std::string mount_target;
        if (mounts) {
            const std::vector<std::string> volumes = server.list_volumes(lsu);
            if (volumes.empty())
                throw BadAnswer(fmt::format("the pool {} has no disks to mount", in_quotes(lsu)));
            volume = volumes.front();
            // Here it is seen which directories that makes.
            MountPoint point(target.mount_directory + "/look");
            server.mount(fmt::format("{}:{}", lsu, volume), point.path());
            mount_target = point.target();
        }
        places.push_back({{"lsu", lsu},
                          {"volume", volume},
                          {"mount_target", mount_target},
                          {"info", bytes_of(server.lsu_info(lsu))}});
    }
    const Json server_info = bytes_of(server.server_info());
    server.close();
    host.terminate();
    return {{"kind", kind == ServerKind::copan ? "copan" : "array"},
            {"places", places},
            {"listed", listed},
            {"server_info", server_info},
            {"made", made_directories()}};
}

[[noreturn]] void answer(int descriptor, const LoadTarget &target, const std::vector<std::string> &wanted,
                         bool mounts) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        std::signal(signal, SIG_DFL);
    Json told;
    try {
        told = look(target, wanted, mounts);
    } catch (const UsageError &failure) {
        told = {{"usage", failure.what()}};
    } catch (const std::exception &failure) {
        told = {{"bad", failure.what()}};
    }
    const std::string text = told.dump(-1, ' ', true, Json::error_handler_t::replace);
    for (size_t done = 0; done < text.size();) {
        const ssize_t written = write(descriptor, text.data() + done, text.size() - done);
        if (written <= 0)
            break;
        done += static_cast<size_t>(written);
    }
    _exit(0);
}

std::string all_of(int descriptor) {
    std::string text;
    char piece[4096];
    for (;;) {
        const ssize_t got = read(descriptor, piece, sizeof piece);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return text;
        text.append(piece, static_cast<size_t>(got));
    }
}

}  // namespace

void look_at_target(LoadTarget &target, const std::vector<std::string> &lsus, bool mounts) {
    int ends[2];
    if (pipe(ends) != 0)
        throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        answer(ends[1], target, lsus, mounts);
    }
    close(ends[1]);
    const std::string text = child > 0 ? all_of(ends[0]) : "";
    close(ends[0]);
    int status = 0;
    if (child < 0)
        throw std::system_error(errno, std::generic_category(), "cannot make a process");
    while (waitpid(child, &status, 0) < 0 && errno == EINTR)
        continue;
    const Json told = Json::parse(text, nullptr, false);
    if (!told.is_object())
        throw BadAnswer(
            WIFSIGNALED(status)
                ? fmt::format("the plug-in ends its process with signal {} when it is asked what the server has",
                              WTERMSIG(status))
                : "the plug-in ends its process when it is asked what the server has");
    if (told.contains("usage"))
        throw UsageError(told["usage"].get<std::string>());
    if (told.contains("bad"))
        throw BadAnswer(told["bad"].get<std::string>());
    target.kind = told["kind"] == "copan" ? ServerKind::copan : ServerKind::disk_array;
    for (const Json &told_place : told["places"]) {
        LoadPlace place;
        place.lsu = told_place["lsu"];
        place.volume = told_place["volume"];
        place.mount_target = told_place["mount_target"];
        take_bytes(told_place["info"], place.info);
        target.places.push_back(std::move(place));
    }
    target.listed = told["listed"].get<std::vector<std::string>>();
    take_bytes(told["server_info"], target.server_info);
    target.made_directories = told["made"].get<std::vector<std::string>>();
}
