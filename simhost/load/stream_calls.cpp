#include "simhost/load/stream_calls.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "base/escaped_text.h"
#include "base/text_field.h"
#include "journal/calls/status_name.h"
#include "simhost/host/record_field.h"
#include "stspi/stsimg.h"

StreamCalls::StreamCalls(const StreamSurroundings &surroundings, unsigned stream)
    : m_surroundings(surroundings), m_calls(surroundings.run, stream, surroundings.entry) {
    set_field(m_lsu.lsu_name, place().lsu, "the LSU name");
}

StreamCalls::~StreamCalls() { close(); }

bool StreamCalls::open() {
    if (m_server != nullptr)
        return true;
    const LoadTarget &target = m_surroundings.target;
    const std::lock_guard<std::mutex> alone(m_surroundings.opening);
    int32_t status = 0;
    LoadedCall call = LoadedCall::open_server;
    if (target.kind == ServerKind::disk_array) {
        call = LoadedCall::create_server;
        std::vector<sts_host_t> hosts(target.hosts.size());
        for (size_t i = 0; i < hosts.size(); ++i)
            set_field(hosts[i].name, target.hosts[i], "a host name");
        status = m_calls.call(call, [&] {
            return entry().create_server(m_surroundings.session, target.server.c_str(), nullptr, nullptr, hosts.data(),
                                         static_cast<int32_t>(hosts.size()), &m_server);
        });
    } else {
        status = m_calls.call(call, [&] {
            return entry().open_server(m_surroundings.session, target.server.c_str(), nullptr, nullptr, &m_server);
        });
    }
    if (m_server != nullptr)
        opened_handle();
    if (status != 0) {
        failed(call, status);
        close();
        return false;
    }
    m_lsu.server = m_server;
    return true;
}

void StreamCalls::close() {
    if (m_server == nullptr)
        return;
    const int32_t status = m_calls.call(LoadedCall::close_server, [this] { return entry().close_server(m_server); });
    m_server = nullptr;
    m_lsu.server = nullptr;
    closed_handle();
    if (status != 0)
        failed(LoadedCall::close_server, status);
}

void StreamCalls::list_lsus() {
    sts_lsu_list_handle_t list = nullptr;
    int32_t status =
        m_calls.call(LoadedCall::open_lsu_list, [&] { return entry().open_lsu_list(m_server, nullptr, &list); });
    if (list != nullptr)
        opened_handle();
    bool complete = status == 0;
    if (!complete)
        failed(LoadedCall::open_lsu_list, status);
    std::vector<std::string> given;
    while (complete) {
        char name[STS_LSU_NAME_SIZE] = {};
        status = m_calls.call(LoadedCall::list_lsu, [&] { return entry().list_lsu(list, name); });
        if (status == STS_E_NO_MORE_ENTRIES)
            break;
        complete = status == 0;
        if (!complete)
            failed(LoadedCall::list_lsu, status);
        given.push_back(field_text(name));
    }
    if (complete)
        judge_lsus(given);
    if (list == nullptr)
        return;
    status = m_calls.call(LoadedCall::close_lsu_list, [&] { return entry().close_lsu_list(list); });
    closed_handle();
    if (status != 0)
        failed(LoadedCall::close_lsu_list, status);
}

void StreamCalls::judge_lsus(const std::vector<std::string> &given) {
    const std::vector<std::string> &expected = target().listed;
    for (const std::string &lsu : expected) {
        const auto times = std::count(given.begin(), given.end(), lsu);
        if (times == 0)
            broken(PromiseKind::list_skips, no_image, fmt::format("stspi_list_lsu does not give {}", in_quotes(lsu)));
        else if (times > std::count(expected.begin(), expected.end(), lsu))
            broken(PromiseKind::list_repeats, no_image,
                   fmt::format("stspi_list_lsu gives {} {} times", in_quotes(lsu), times));
    }
    for (const std::string &lsu : given)
        if (std::find(expected.begin(), expected.end(), lsu) == expected.end())
            broken(PromiseKind::list_ghost, no_image,
                   fmt::format("stspi_list_lsu gives {}, which was not there before", in_quotes(lsu)));
}

void StreamCalls::change_failed(LoadedCall call, int32_t status, uint64_t image) {
    if (status != STSIMG_E_OUTCOME_UNKNOWN) {
        failed(call, status, image);
        return;
    }
    state().failures.fetch_add(1, std::memory_order_relaxed);
    run().unknown().told.fetch_add(1, std::memory_order_relaxed);
}

void StreamCalls::failed(LoadedCall call, int32_t status, uint64_t image) {
    state().failures.fetch_add(1, std::memory_order_relaxed);
    if (workload().expected.count(status) != 0)
        return;
    const std::string words = m_surroundings.library.image_library_error();
    broken(PromiseKind::refusal, image,
           fmt::format("{} answers {}{}", loaded_call_name(call), describe_status(status),
                       words.empty() || status == 0 ? "" : ": " + visible(words)));
}

void StreamCalls::broken(PromiseKind kind, uint64_t image, const std::string &what) {
    run().found(kind, fmt::format("{}{}{} (stream {}, operation {})", image == no_image ? "" : ledger().name(image),
                                  image == no_image ? "" : ": ", what, stream(), state().next_operation.load()));
}
