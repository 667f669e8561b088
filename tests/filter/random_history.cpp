#include "tests/filter/random_history.h"

#include <dlfcn.h>

#include <cstring>
#include <mutex>
#include <vector>

#include "base/hexadecimal.h"

namespace {

constexpr uint64_t most_bytes = 3000;

std::string hexadecimal(const void *bytes, size_t size) {
    return in_hexadecimal({static_cast<const char *>(bytes), size});
}

std::string stored_handle(const void *handle) { return handle == nullptr ? "null" : "handle"; }

template <class Record>
std::string bytes_of(const Record &record) {
    return hexadecimal(&record, sizeof record);
}

}  // namespace

RandomHistory::RandomHistory(void *library, uint64_t seed, unsigned thread)
    : m_library(library), m_engine(seed * 64 + thread), m_thread(std::to_string(thread)) {
    m_session.log_context = reinterpret_cast<uint64_t>(this);
    m_session.log_mask = 0xff;
    m_session.log_function = [](uint64_t context, const char *message, int32_t level) {
        auto *history = reinterpret_cast<RandomHistory *>(context);  // NOLINT(performance-no-int-to-ptr)
        history->m_seen << "  log " << level << ' ' << message << '\n';
    };
}

void RandomHistory::ignore_messages() {
    m_session.log_function = [](uint64_t, const char *, int32_t) {};
}

template <class Function>
Function *RandomHistory::entry(const char *name) const {
    return reinterpret_cast<Function *>(dlsym(m_library, name));
}

#define CALL(name) entry<decltype(::name)>(#name)

void RandomHistory::saw(const char *name, int32_t status, const std::string &stored) {
    m_seen << name << ' ' << status << ' ' << stored << '\n';
}

stsp_lsu_v7_t RandomHistory::lsu() {
    static const char *const patterns[] = {"pool#", "pool#:g1", "other#", "vol#a", "vol#b", "none#"};
    stsp_lsu_v7_t record = {};
    record.server = m_server;
    std::string name = patterns[draw(std::size(patterns))];
    name.replace(name.find('#'), 1, m_thread);
    std::strcpy(record.lsu_name, name.c_str());
    return record;
}

sts_image_definition RandomHistory::definition() {
    sts_image_definition record = {};
    std::snprintf(record.name, sizeof record.name, "t%s-image%d", m_thread.c_str(), static_cast<int>(draw(3)));
    return record;
}

void RandomHistory::call_server() {
    // Threads that read files at the same time share the process's tokenizer, and each other's words.
    static std::mutex reading;
    const std::lock_guard guard(reading);
    const std::string name = (draw(2) == 0 ? "copan:arr" : "Kelvarpool:host") + (rarely() ? "none" : m_thread);
    sts_server_info_t info = {};
    int32_t status = 0;
    switch (draw(7)) {
        case 0:
            saw("claim", CALL(stspi_claim)(name.c_str()));
            return;
        case 1:
            status = CALL(stspi_get_server_prop_byname)(&m_session, name.c_str(), &info);
            saw("server_prop_byname", status, bytes_of(info));
            return;
        case 2:
            status = CALL(stspi_get_server_prop)(m_server, &info);
            saw("server_prop", status, bytes_of(info));
            return;
        case 3:
            if (m_lsus != nullptr)
                return;  // a list ends before its server
            status = CALL(stspi_close_server)(m_server);
            m_server = nullptr;
            saw("close_server", status);
            return;
        default:
            break;
    }
    if (m_server != nullptr)
        return;
    if (draw(3) == 0) {
        sts_host_t host = {};
        std::snprintf(host.name, sizeof host.name, "host%s", m_thread.c_str());
        status = CALL(stspi_create_server)(&m_session, name.c_str(), nullptr, nullptr, &host, 1, &m_server);
    } else {
        status = CALL(stspi_open_server)(&m_session, name.c_str(), nullptr, nullptr, &m_server);
    }
    saw("open_server", status, stored_handle(m_server));
}

void RandomHistory::call_lsu() {
    const stsp_lsu_v7_t record = lsu();
    int32_t status = 0;
    char name[STS_LSU_NAME_SIZE] = "before";
    switch (draw(6)) {
        case 0:
            if (m_lsus != nullptr)
                return;
            status = draw(2) == 0 ? CALL(stspi_open_lsu_list)(m_server, nullptr, &m_lsus)
                                  : CALL(stspi_open_dynamic_lsu_list)(&record, &m_lsus);
            saw("open_list", status, stored_handle(m_lsus));
            return;
        case 1: {
            sts_lsu_info_v9_t info = {};
            status = CALL(stspi_get_lsu_prop_byname)(&record, &info);
            info.used_bytes = 0;  // of the file system, as is the other one for a directory
            info.capacity_bytes = 0;
            saw("lsu_prop", status, bytes_of(info));
            return;
        }
        case 2:
            status = CALL(stspi_close_lsu_list)(m_lsus);
            m_lsus = nullptr;
            saw("close_list", status);
            return;
        default:
            status = CALL(stspi_list_lsu)(m_lsus, name);
            saw("list_lsu", status, name);
    }
}

void RandomHistory::call_image() {
    const stsp_lsu_v7_t record = lsu();
    const sts_image_definition image = definition();
    sts_image_info info = {};
    int32_t status = 0;
    switch (draw(6)) {
        case 0:
            saw("delete_image", CALL(stspi_delete_image)(&record, &image, 0));
            return;
        case 1:
            status = CALL(stspi_get_image_prop_byname)(&record, &image, &info);
            info.creation_time = 0;
            saw("image_prop_byname", status, bytes_of(info));
            return;
        case 2:
            status = CALL(stspi_close_image)(m_image);
            m_image = nullptr;
            saw("close_image", status);
            return;
        case 3:
            if (m_image == nullptr) {
                status = CALL(stspi_open_image)(&record, &image, STSIMG_MODE_READ, &m_image);
                saw("open_image", status, stored_handle(m_image));
            }
            return;
        default:
            if (m_image == nullptr) {
                status = CALL(stspi_create_image)(&record, &image, 0, &m_image);
                saw("create_image", status, stored_handle(m_image));
            }
    }
}

void RandomHistory::call_data() {
    std::vector<unsigned char> bytes(most_bytes, 0x5a);
    const uint64_t length = draw(most_bytes + 1);
    const uint64_t offset = rarely() ? draw(5000) : 0;
    uint64_t count = 77;
    int32_t status = 0;
    if (draw(2) == 0) {
        for (unsigned char &byte : bytes)
            byte = static_cast<unsigned char>(m_engine());
        status = CALL(stspi_write_image)(m_image, nullptr, bytes.data(), length, offset, &count);
        saw("write_image", status, std::to_string(count) + " " + hexadecimal(bytes.data(), 32));
    } else {
        status = CALL(stspi_read_image)(m_image, bytes.data(), length, offset, &count);
        saw("read_image", status, std::to_string(count) + " " + hexadecimal(bytes.data(), bytes.size()));
    }
}

void RandomHistory::call_list_of_images() {
    int32_t status = 0;
    sts_image_definition listed = {};
    switch (draw(4)) {
        case 0:
            if (m_images == nullptr) {
                const stsp_lsu_v7_t record = lsu();
                status = CALL(stspi_open_image_list)(&record, 0, &m_images);
                saw("open_image_list", status, stored_handle(m_images));
            }
            return;
        case 1:
            status = CALL(stspi_close_image_list)(m_images);
            m_images = nullptr;
            saw("close_image_list", status);
            return;
        default:
            status = CALL(stspi_list_image)(m_images, &listed);
            saw("list_image", status, bytes_of(listed));
    }
}

void RandomHistory::call_another() {
    uint64_t count = 77;
    int32_t status = 0;
    sts_image_info info = {};
    switch (draw(6)) {
        case 0:
            saw("unmount", CALL(stspi_unmount_lsu)());
            return;
        case 1:
            saw("ioctl", CALL(stspi_ioctl)(m_server, static_cast<int32_t>(draw(100))));
            return;
        case 2:
            status = CALL(stspi_get_image_prop)(m_image, &info);
            info.creation_time = 0;
            saw("image_prop", status, bytes_of(info));
            return;
        case 3:
            saw("copy_extent", CALL(stspi_copy_extent)(m_image, 0, m_image, 0, draw(100), nullptr, &count),
                std::to_string(count));
            return;
        case 4:
            saw("activate_lsu", CALL(stspi_activate_lsu)());
            return;
        default:
            saw("terminate", CALL(stspi_terminate)());
    }
}

void RandomHistory::close_all() {
    saw("close_image", CALL(stspi_close_image)(m_image));
    saw("close_image_list", CALL(stspi_close_image_list)(m_images));
    saw("close_list", CALL(stspi_close_lsu_list)(m_lsus));
    saw("close_server", CALL(stspi_close_server)(m_server));
}

void RandomHistory::run(unsigned calls) {
    using Kind = void (RandomHistory::*)();
    static constexpr Kind kinds[] = {
        &RandomHistory::call_server, &RandomHistory::call_lsu,   &RandomHistory::call_lsu,
        &RandomHistory::call_image,  &RandomHistory::call_image, &RandomHistory::call_data,
        &RandomHistory::call_data,   &RandomHistory::call_data,  &RandomHistory::call_list_of_images,
        &RandomHistory::call_another};
    call_server();
    for (unsigned i = 0; i < calls; ++i)
        (this->*kinds[draw(std::size(kinds))])();
    close_all();
}
