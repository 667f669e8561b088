#include "bench/recorded_calls.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

RecordedCalls *recorder = nullptr;
const EntryPoints *behind = nullptr;

int32_t noted(LoadedCall call, int32_t status, const sts_image_definition_t *definition = nullptr, uint64_t offset = 0,
              uint64_t length = 0) {
    recorder->note(call, definition, offset, length, status);
    return status;
}

}  // namespace

RecordedCalls::RecordedCalls(const EntryPoints &entry) : m_entry(entry) {
    recorder = this;
    behind = &entry;
}

void RecordedCalls::note(LoadedCall call, const sts_image_definition_t *definition, uint64_t offset, uint64_t length,
                         int32_t status) {
    size_t image = 0;
    if (definition != nullptr) {
        const auto same = [definition](const sts_image_definition_t &other) {
            return std::strcmp(other.name, definition->name) == 0;
        };
        image =
            static_cast<size_t>(std::find_if(m_definitions.begin(), m_definitions.end(), same) - m_definitions.begin());
        if (image == m_definitions.size())
            m_definitions.push_back(*definition);
    }
    m_calls.push_back({call, static_cast<uint32_t>(image), offset, length});
    m_statuses.push_back(status);
    m_bytes.resize(std::max<size_t>(m_bytes.size(), length), 'x');
}

EntryPoints RecordedCalls::recording() const {
    EntryPoints entry = m_entry;
    entry.create_server = [](auto... arguments) {
        return noted(LoadedCall::create_server, behind->create_server(arguments...));
    };
    entry.close_server = [](auto server) { return noted(LoadedCall::close_server, behind->close_server(server)); };
    entry.get_server_prop = [](auto... arguments) {
        return noted(LoadedCall::get_server_prop, behind->get_server_prop(arguments...));
    };
    entry.open_lsu_list = [](auto... arguments) {
        return noted(LoadedCall::open_lsu_list, behind->open_lsu_list(arguments...));
    };
    entry.list_lsu = [](auto... arguments) { return noted(LoadedCall::list_lsu, behind->list_lsu(arguments...)); };
    entry.close_lsu_list = [](auto list) { return noted(LoadedCall::close_lsu_list, behind->close_lsu_list(list)); };
    entry.get_lsu_prop_byname = [](auto... arguments) {
        return noted(LoadedCall::get_lsu_prop_byname, behind->get_lsu_prop_byname(arguments...));
    };
    entry.create_image = [](auto lsu, auto definition, auto flags, auto out) {
        return noted(LoadedCall::create_image, behind->create_image(lsu, definition, flags, out), definition);
    };
    entry.open_image = [](auto lsu, auto definition, auto mode, auto out) {
        return noted(LoadedCall::open_image, behind->open_image(lsu, definition, mode, out), definition);
    };
    entry.write_image = [](auto image, auto reserved, auto bytes, auto length, auto offset, auto out) {
        return noted(LoadedCall::write_image, behind->write_image(image, reserved, bytes, length, offset, out), nullptr,
                     offset, length);
    };
    entry.read_image = [](auto image, auto bytes, auto length, auto offset, auto out) {
        return noted(LoadedCall::read_image, behind->read_image(image, bytes, length, offset, out), nullptr, offset,
                     length);
    };
    entry.close_image = [](auto image) { return noted(LoadedCall::close_image, behind->close_image(image)); };
    entry.delete_image = [](auto lsu, auto definition, auto flags) {
        return noted(LoadedCall::delete_image, behind->delete_image(lsu, definition, flags), definition);
    };
    entry.get_image_prop_byname = [](auto lsu, auto definition, auto out) {
        return noted(LoadedCall::get_image_prop_byname, behind->get_image_prop_byname(lsu, definition, out),
                     definition);
    };
    entry.open_image_list = [](auto... arguments) {
        return noted(LoadedCall::open_image_list, behind->open_image_list(arguments...));
    };
    entry.list_image = [](auto... arguments) {
        return noted(LoadedCall::list_image, behind->list_image(arguments...));
    };
    entry.close_image_list = [](auto list) {
        return noted(LoadedCall::close_image_list, behind->close_image_list(list));
    };
    return entry;
}

void RecordedCalls::repeat(const std::string &server, const std::string &lsu_name) {
    static const sts_host_t host = {"mediaA"};
    stsp_lsu_v7_t lsu = {};
    lsu_name.copy(lsu.lsu_name, sizeof lsu.lsu_name - 1);
    sts_image_handle_t image = nullptr;
    sts_lsu_list_handle_t lsus = nullptr;
    sts_image_list_handle_t images = nullptr;
    char name[STS_LSU_NAME_SIZE] = {};
    sts_image_definition_t listed = {};
    sts_image_info_t image_info = {};
    sts_lsu_info_v9_t lsu_info = {};
    sts_server_info_t server_info = {};
    uint64_t count = 0;
    const auto make = [&](const RecordedCall &call) {
        const sts_image_definition_t *definition = m_definitions.data() + call.image;
        switch (call.call) {
            case LoadedCall::create_server:
                return m_entry.create_server(nullptr, server.c_str(), nullptr, nullptr, &host, 1, &lsu.server);
            case LoadedCall::close_server:
                return m_entry.close_server(lsu.server);
            case LoadedCall::get_server_prop:
                return m_entry.get_server_prop(lsu.server, &server_info);
            case LoadedCall::open_lsu_list:
                return m_entry.open_lsu_list(lsu.server, nullptr, &lsus);
            case LoadedCall::list_lsu:
                return m_entry.list_lsu(lsus, name);
            case LoadedCall::close_lsu_list:
                return m_entry.close_lsu_list(lsus);
            case LoadedCall::get_lsu_prop_byname:
                return m_entry.get_lsu_prop_byname(&lsu, &lsu_info);
            case LoadedCall::create_image:
                return m_entry.create_image(&lsu, definition, 0, &image);
            case LoadedCall::open_image:
                return m_entry.open_image(&lsu, definition, STSIMG_MODE_READ, &image);
            case LoadedCall::write_image:
                return m_entry.write_image(image, nullptr, m_bytes.data(), call.length, call.offset, &count);
            case LoadedCall::read_image:
                return m_entry.read_image(image, m_bytes.data(), call.length, call.offset, &count);
            case LoadedCall::close_image:
                return m_entry.close_image(image);
            case LoadedCall::delete_image:
                return m_entry.delete_image(&lsu, definition, 0);
            case LoadedCall::get_image_prop_byname:
                return m_entry.get_image_prop_byname(&lsu, definition, &image_info);
            case LoadedCall::open_image_list:
                return m_entry.open_image_list(&lsu, 0, &images);
            case LoadedCall::list_image:
                return m_entry.list_image(images, &listed);
            case LoadedCall::close_image_list:
                return m_entry.close_image_list(images);
            default:
                return int32_t{-1};
        }
    };
    for (size_t i = 0; i < m_calls.size(); ++i)
        if (const int32_t status = make(m_calls[i]); status != m_statuses[i]) {
            std::fprintf(stderr, "%s gave %d, and %d before\n", loaded_call_name(m_calls[i].call), status,
                         m_statuses[i]);
            std::exit(1);
        }
}

void RecordedCalls::clear(const std::string &server, const std::string &lsu_name) {
    static const sts_host_t host = {"mediaA"};
    stsp_lsu_v7_t lsu = {};
    lsu_name.copy(lsu.lsu_name, sizeof lsu.lsu_name - 1);
    m_entry.create_server(nullptr, server.c_str(), nullptr, nullptr, &host, 1, &lsu.server);
    for (const sts_image_definition_t &definition : m_definitions)
        m_entry.delete_image(&lsu, &definition, 0);
    m_entry.close_server(lsu.server);
}
