#include "tests/memory/world.h"

#include <cstring>
#include <filesystem>

#include "base/text_field.h"
#include "copan/copan_sim_storage_server.h"
#include "sim/orv_sim_storage_server.h"
#include "stspi/stsimg.h"

namespace {

// The calls of the image library tell the world that is there.
void (*tell)(const char *) = nullptr;
World *present = nullptr;

int count_of(const char *text, const char *piece) {
    int count = 0;
    for (const char *found = std::strstr(text, piece); found != nullptr; found = std::strstr(found + 1, piece))
        ++count;
    return count;
}

}  // namespace

World::World() : mount_point(directory / "mnt") {
    config.write("Kelvarpool",
                 "UNKNOWN=1;\nENCLOSURE=p1;\nHOSTS=h1,h2,h3,h4,h5,h6,h7,h8,h9,h10,h11,h12,h13,h14,h15,h16,h17,h18;\n"
                 "DISKS=a_disk_with_a_long_name,d2;\nSTORAGE_DIR=" +
                     (directory / "p1") +
                     ";\nENCLOSURE=p2;\nENCLOSURE=p3;\nENCLOSURE=p4;\nENCLOSURE=p5;\nHOSTS=h2;\nENCLOSURE=p6;\n"
                     "DISKS=d6;\nDISKS=d7,d8;\nUDID_TOKEN=a_token_with_some_length;\n");
    config.write("copan", "STORAGE_SERVER=arr1;\nVOLUMES=vol1,vol2;\nSTORAGE_DIR=" + (directory / "copan") + ";\n");
    session.log_context = reinterpret_cast<uintptr_t>(this);
    session.log_function = record;
    session.log_mask = STS_LOG_MASK_TRACE | STS_LOG_MASK_ERROR;
    copy_text(hosts[0].name, "h1");
    copy_text(hosts[1].name, "a_host_with_a_rather_long_name");
    OrvSimStorageServer::set_session(&session);
    CopanSimStorageServer::set_session(&session);
    present = this;
    tell = [](const char *text) { present->add(text); };
    forget();
}

World::~World() {
    forget();
    if (list != nullptr)
        stspi_close_lsu_list(list);
    if (server != nullptr)
        stspi_close_server(server);
    OrvSimStorageServer::set_session(nullptr);
    CopanSimStorageServer::set_session(nullptr);
    tell = nullptr;
}

void World::open(const char *server_name) {
    stspi_open_server(&session, server_name, nullptr, nullptr, &server);
    lsu.server = server;
}

void World::create() {
    stspi_create_server(&session, "Kelvarpool:x", nullptr, nullptr, hosts, 2, &server);
    lsu.server = server;
}

void World::name_lsu(const char *name) { copy_text(lsu.lsu_name, name); }

std::string World::told() const {
    std::string text(m_messages, m_used);
    for (const char *name : {out_name, out_result, lsu_info.lsu_name, lsu_info.server_name, lsu_info.property_text,
                             server_info.server_name})
        text += std::string("|") + name;
    for (const uint32_t word : server_info.capabilities)
        text += "," + std::to_string(word);
    for (const uint64_t number : {uint64_t{server_info.server_type}, uint64_t{lsu_info.lsu_class},
                                  uint64_t{lsu_info.flags}, lsu_info.capacity_bytes, out_bytes})
        text += "|" + std::to_string(number);
    return text;
}

bool World::is_traced_to_the_end() const {
    return count_of(m_messages, "++++ Entering ") == count_of(m_messages, "---- Leaving ");
}

bool World::is_untouched() const { return std::filesystem::is_empty(directory.path()); }

void World::forget() {
    if (out_list != nullptr)
        stspi_close_lsu_list(out_list);
    if (out_server != nullptr)
        stspi_close_server(out_server);
    out_list = nullptr;
    out_server = nullptr;
    m_used = 0;
    m_messages[0] = '\0';
    out_bytes = 0;
    std::memset(out_name, 0, sizeof out_name);
    std::memset(out_result, 0, sizeof out_result);
    std::memset(&server_info, 0, sizeof server_info);
    std::memset(&lsu_info, 0, sizeof lsu_info);
}

void World::add(const char *text) {
    const std::string_view piece = text;
    if (m_used + piece.size() >= sizeof m_messages)
        std::abort();
    m_used += piece.copy(m_messages + m_used, piece.size());
    m_messages[m_used] = '\0';
}

void World::record(uint64_t context, const char *text, int32_t) { reinterpret_cast<World *>(context)->add(text); }

// ---- an image library without memory of its own ------------------------------------------------------------------

namespace {

int32_t note(const char *function, const char *lsu, const char *server_name) {
    for (const char *text : {function, lsu, server_name})
        if (tell != nullptr)
            tell(text);
    return 0;
}

}  // namespace

int32_t stsimg_init(uint64_t) { return 0; }
int32_t stsimg_terminate() { return 0; }
int32_t stsimg_create_image(const char *lsu, const void *, const char *server_name, const sts_image_definition_t *,
                            uint32_t, sts_image_handle_t *) {
    return note("create ", lsu, server_name);
}
int32_t stsimg_open_image(const char *lsu, const void *, const char *server_name, const sts_image_definition_t *,
                          uint32_t, sts_image_handle_t *) {
    return note("open ", lsu, server_name);
}
int32_t stsimg_delete_image(const char *lsu, const void *, const char *server_name, const sts_image_definition_t *,
                            uint32_t) {
    return note("delete ", lsu, server_name);
}
int32_t stsimg_open_image_list(const char *lsu, const void *, const char *server_name, uint32_t,
                               sts_image_list_handle_t *) {
    return note("list ", lsu, server_name);
}
int32_t stsimg_get_image_prop_byname(const char *lsu, const void *, const char *server_name,
                                     const sts_image_definition_t *, sts_image_info_t *) {
    return note("prop ", lsu, server_name);
}
int32_t stsimg_read_image(sts_image_handle_t, void *buffer, uint64_t, uint64_t, uint64_t *out_bytes_read) {
    std::memset(buffer, 'r', 100);
    *out_bytes_read = 100;
    return 0;
}
int32_t stsimg_write_image(sts_image_handle_t, const void *, const void *, uint64_t length, uint64_t,
                           uint64_t *out_bytes_written) {
    *out_bytes_written = length;
    return 0;
}
int32_t stsimg_close_image(sts_image_handle_t) { return 0; }
int32_t stsimg_close_image_list(sts_image_list_handle_t) { return 0; }
int32_t stsimg_get_image_prop(sts_image_handle_t, sts_image_info_t *) { return 0; }
int32_t stsimg_list_image(sts_image_list_handle_t, sts_image_definition_t *) { return 0; }
