// The entry points of the plug-in under test, each call noted and each resource registered.
//
// A call goes to the symbol of its name, or, after use_tables(), to its slot in the tables that registration handed over.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "conformance/calls/plugin_library.h"
#include "conformance/watch/call_note.h"
#include "conformance/watch/log_recorder.h"
#include "stspi/stspi.h"

namespace conformance {

struct SlotName {
    int slot;
    const char *entry_point;  // null for a null slot
};

// Both tables in slot order.
const std::vector<SlotName> &first_table();
const std::vector<SlotName> &second_table();

// The entry points that only say STS_E_NOT_SUPPORTED.
const std::vector<std::string> &not_supported_entry_points();

// All that the library exports, functions and tables.
std::vector<std::string> exported_names();

class EntryPoints {
public:
    explicit EntryPoints(const std::string &path, int mode);

    const PluginLibrary &library() const { return *library_; }
    const std::string &path() const { return path_; }

    // Unloads the library; no other member may be used after it.
    void unload() { library_.reset(); }

    // From now on calls go through these tables.
    void use_tables(const sts_entry_point_t *first, const sts_entry_point_t *second);

    // The address a call of that name goes to. Ends the test when there is none.
    void *address(const std::string &entry_point) const;

    // Any entry point with six integer registers as they are, and nulls for what an entry point has beyond them.
    int32_t raw(const std::string &entry_point, const std::array<uint64_t, 6> &registers);

    int32_t init(uint64_t version, const void *ignored, sts_registration_t *registration);
    int32_t init2(uint64_t version, sts_registration2_t *registration);
    int32_t claim(const char *name);
    int32_t terminate();
    int32_t ioctl(const void *handle, int32_t command);

    // Handles and lists that these store are registered and, at the end, closed.
    int32_t open_server(const sts_session_def_v7_t *session, const char *name, sts_server_handle_t *out);
    int32_t create_server(const sts_session_def_v7_t *session, const char *name, const sts_host_t *hosts, int32_t count,
                          sts_server_handle_t *out);
    int32_t open_target_server(sts_server_handle_t source, const char *name, sts_server_handle_t *out);
    int32_t close_server(sts_server_handle_t handle);
    int32_t open_lsu_list(sts_server_handle_t handle, sts_lsu_list_handle_t *out);
    int32_t open_dynamic_lsu_list(const stsp_lsu_v7_t *lsu, sts_lsu_list_handle_t *out);
    int32_t list_lsu(sts_lsu_list_handle_t list, char *out_name);
    int32_t close_lsu_list(sts_lsu_list_handle_t list);

    int32_t get_server_prop(sts_server_handle_t handle, sts_server_info_t *info);
    int32_t get_server_prop_byname(const sts_session_def_v7_t *session, const char *name, sts_server_info_t *info);
    int32_t get_lsu_prop_byname(const stsp_lsu_v7_t *lsu, sts_lsu_info_v9_t *info);
    int32_t mount_lsu(const stsp_lsu_v7_t *lsu, const char *mount_point, uint32_t mode, char *out_result);
    int32_t unmount_lsu();

    int32_t create_image(const stsp_lsu_v7_t *lsu, const sts_image_definition_t *definition, uint32_t flags,
                         sts_image_handle_t *out);
    int32_t open_image(const stsp_lsu_v7_t *lsu, const sts_image_definition_t *definition, uint32_t mode,
                       sts_image_handle_t *out);
    int32_t delete_image(const stsp_lsu_v7_t *lsu, const sts_image_definition_t *definition, uint32_t flags);
    int32_t open_image_list(const stsp_lsu_v7_t *lsu, uint32_t flags, sts_image_list_handle_t *out);
    int32_t get_image_prop_byname(const stsp_lsu_v7_t *lsu, const sts_image_definition_t *definition,
                                  sts_image_info_t *out);
    int32_t copy_extent(sts_image_handle_t target, uint64_t target_offset, sts_image_handle_t source,
                        uint64_t source_offset, uint64_t length, const void *ignored, uint64_t *out_written);
    int32_t include_in_image(sts_image_handle_t target, uint64_t target_offset, sts_image_handle_t source,
                             uint64_t source_offset, uint64_t length);

    int32_t load_process(const char *program, const char *argument);

    // What is passed in arguments that a call ignores: no address, so that reading it stops the process.
    void set_ignored(const void *value) { ignored_ = value; }

private:
    template <typename Function, typename... Arguments>
    int32_t call(const char *entry_point, Arguments... arguments);

    void registered(sts_server_handle_t *out);
    void registered(sts_lsu_list_handle_t *out);

    std::string path_;
    std::unique_ptr<PluginLibrary> library_;
    std::map<std::string, void *> from_tables_;
    const void *ignored_;
};

// The plug-in of this process's test.
EntryPoints &plugin();
void set_plugin(std::unique_ptr<EntryPoints> loaded);

// ---- shorthands that end the test when a step fails --------------------------------------------------------------

sts_server_handle_t open_server(Session &session, const std::string &name);
sts_server_handle_t create_server(Session &session, const std::string &name, const std::vector<std::string> &hosts);
std::vector<sts_host_t> host_records(const std::vector<std::string> &hosts);

// All names of a list up to its end.
std::vector<std::string> names_of(sts_lsu_list_handle_t list);
std::vector<std::string> list_lsus(sts_server_handle_t handle);
std::vector<std::string> list_volumes(sts_server_handle_t handle, const std::string &pool);

// An LSU record on the heap of guarded memory, its name field filled with rubbish behind the terminator. Lives to the
// end of the process.
const stsp_lsu_v7_t *lsu(sts_server_handle_t handle, const std::string &name);

}  // namespace conformance
