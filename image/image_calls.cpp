// The image calls that name an LSU.
#include <memory>

#include "base/text_field.h"
#include "plugin/message_log.h"
#include "plugin/server_handle.h"
#include "plugin/trace_object.h"
#include "stspi/stsimg.h"
#include "stspi/stspi.h"

namespace {

// Puts the directory of a Copan array's LSU in place of its name, in a record of our own. Without a directory the name
// becomes empty.
int32_t replace_name_by_path(StorageServer &server, const char *name, stsp_lsu_v7_t &lsu) {
    const sts_session_def_v7_t *session = lsu.server->session;
    if (server.getLSU(name) == nullptr)
        return STS_E_NO_SERVER;
    log_trace(session, "Replacing LSU name by its path, original lsu_name is ");
    log_trace(session, name);
    const std::unique_ptr<char[]> path(server.generate_path(name));
    copy_text(lsu.lsu_name, path.get());
    log_trace(session, "new lsu_name is ");
    log_trace(session, lsu.lsu_name);
    return 0;
}

// Traces an entry point and calls the image library with the LSU's text and the server's name.
template <class Call>
int32_t with_lsu_text(const stsp_lsu_v7_t *lsu, const char *entry_point, Call call) {
    if (lsu == nullptr || lsu->server == nullptr)
        return STS_E_INVALID_PARAMETER;
    const TraceObject trace(lsu->server->session, entry_point);
    char server_name[STS_SERVER_NAME_SIZE];
    copy_text(server_name, lsu->server->host_name);
    const FieldText name(lsu->lsu_name);
    if (lsu->server->sts_object == nullptr)
        return call(name.c_str(), server_name);
    stsp_lsu_v7_t at_path = *lsu;
    if (const int32_t status = replace_name_by_path(*lsu->server->sts_object, name.c_str(), at_path))
        return status;
    return call(at_path.lsu_name, server_name);
}

}  // namespace

int32_t stspi_create_image(const stsp_lsu_v7_t *lsu, const sts_image_definition_t *definition, uint32_t flags,
                           sts_image_handle_t *out_image) {
    if (definition == nullptr || out_image == nullptr)
        return STS_E_INVALID_PARAMETER;
    return with_lsu_text(lsu, "stspi_create_image", [=](const char *lsu_text, const char *server_name) {
        return stsimg_create_image(lsu_text, nullptr, server_name, definition, flags, out_image);
    });
}

int32_t stspi_open_image(const stsp_lsu_v7_t *lsu, const sts_image_definition_t *definition, uint32_t mode,
                         sts_image_handle_t *out_image) {
    return with_lsu_text(lsu, "stspi_open_image", [=](const char *lsu_text, const char *server_name) {
        return stsimg_open_image(lsu_text, nullptr, server_name, definition, mode, out_image);
    });
}

int32_t stspi_delete_image(const stsp_lsu_v7_t *lsu, const sts_image_definition_t *definition, uint32_t flags) {
    return with_lsu_text(lsu, "stspi_delete_image", [=](const char *lsu_text, const char *server_name) {
        return stsimg_delete_image(lsu_text, nullptr, server_name, definition, flags);
    });
}

int32_t stspi_open_image_list(const stsp_lsu_v7_t *lsu, uint32_t flags, sts_image_list_handle_t *out_list) {
    return with_lsu_text(lsu, "stspi_open_image_list", [=](const char *lsu_text, const char *server_name) {
        return stsimg_open_image_list(lsu_text, nullptr, server_name, flags, out_list);
    });
}

int32_t stspi_get_image_prop_byname(const stsp_lsu_v7_t *lsu, const sts_image_definition_t *definition,
                                    sts_image_info_t *out_info) {
    // Traced under the name of deletion: whoever reads the traces knows it by that.
    return with_lsu_text(lsu, "stspi_delete_image", [=](const char *lsu_text, const char *server_name) {
        return stsimg_get_image_prop_byname(lsu_text, nullptr, server_name, definition, out_info);
    });
}
