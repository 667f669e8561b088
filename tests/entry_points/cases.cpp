// One entry for every row of docs/entry-points.md, in its order.
#include "tests/entry_points/cases.h"

#include <filesystem>
#include <fstream>

namespace {

template <class Function>
Function *call(void *entry_point) {
    return reinterpret_cast<Function *>(entry_point);
}

// What the image calls point to; nobody looks inside.
struct sts_image_definition definition;
struct sts_image_info image_info;
sts_image_handle_t image;
sts_image_list_handle_t image_list;

int32_t lsu_properties(void *entry_point, sts_server_handle_t handle, const std::string &name) {
    const stsp_lsu_v7_t lsu = PluginWorld::lsu(handle, name);
    sts_lsu_info_v9_t record;
    return call<decltype(stspi_get_lsu_prop_byname)>(entry_point)(&lsu, &record);
}

int32_t mount(const PluginWorld &world, void *entry_point, sts_server_handle_t handle, const std::string &name,
              uint32_t mode) {
    const stsp_lsu_v7_t lsu = PluginWorld::lsu(handle, name);
    char result[STS_MOUNT_RESULT_SIZE];
    return call<decltype(stspi_mount_lsu)>(entry_point)(&lsu, (world.directory / "mnt").c_str(), mode, 0, result);
}

}  // namespace

const std::map<std::pair<std::string, std::string>, Case> &cases() {
    static const std::
        map<std::pair<std::string, std::string>, Case>
            all =
                {
                    {{"stspi_init", "version 7 or more: what the image library's initialisation returns, normally 0"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         world.library.answer_with(library_status);
                         sts_registration_t record{};
                         return call<decltype(stspi_init)>(entry_point)(7, nullptr, &record);
                     }},
                    {{"stspi_init", "version below 7"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_registration_t record{};
                         return call<decltype(stspi_init)>(entry_point)(6, nullptr, &record);
                     }},
                    {{"stspi_init", "null record"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_init)>(entry_point)(7, nullptr, nullptr);
                     }},
                    {{"stspi_init2", "version 9 or more"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_registration2_t record{};
                         return call<decltype(stspi_init2)>(entry_point)(9, &record);
                     }},
                    {{"stspi_init2", "version below 9"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_registration2_t record{};
                         return call<decltype(stspi_init2)>(entry_point)(8, &record);
                     }},
                    {{"stspi_init2", "null record"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_init2)>(entry_point)(9, nullptr);
                     }},
                    {{"stspi_claim", "the configuration file of the name opens"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_claim)>(entry_point)("copan:any");
                     }},
                    {{"stspi_claim", "it does not"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_claim)>(entry_point)("other:any");
                     }},
                    {{"stspi_claim", "null name"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_claim)>(entry_point)(nullptr);
                     }},
                    {{"stspi_claim", "empty name"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_claim)>(entry_point)("");
                     }},
                    {{"stspi_terminate", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_terminate)>(entry_point)();
                     }},
                    {{"stspi_ioctl", "command 1 to 7 or 9 to 12"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         for (const int32_t command : {1, 2, 3, 4, 5, 6, 7, 9, 10, 11, 12})
                             if (const int32_t status = call<decltype(stspi_ioctl)>(entry_point)(nullptr, command))
                                 return status;
                         return 0;
                     }},
                    {{"stspi_ioctl", "any other command"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         for (const int32_t command : {-1, 0, 8, 13})
                             if (const int32_t status = call<decltype(stspi_ioctl)>(entry_point)(nullptr, command);
                                 status != STS_E_NOT_SUPPORTED)
                                 return status;
                         return STS_E_NOT_SUPPORTED;
                     }},
                    {{"stspi_open_server", "name of a disk array"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_server_handle_t handle = nullptr;
                         return world.closing(call<decltype(stspi_open_server)>(entry_point)(
                                                  &world.session, "Kelvarpool:nodeA", nullptr, nullptr, &handle),
                                              handle);
                     }},
                    {{"stspi_open_server", "name of a Copan array that is in its file"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_server_handle_t handle = nullptr;
                         return world.closing(call<decltype(stspi_open_server)>(entry_point)(
                                                  &world.session, "copan:arr1", nullptr, nullptr, &handle),
                                              handle);
                     }},
                    {{"stspi_open_server", "empty host part: a handle without a server"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_server_handle_t handle = nullptr;
                         return world.closing(call<decltype(stspi_open_server)>(entry_point)(
                                                  &world.session, "copan:", nullptr, nullptr, &handle),
                                              handle);
                     }},
                    {{"stspi_open_server", "null out_handle"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_open_server)>(entry_point)(&world.session, "copan:arr1", nullptr,
                                                                               nullptr, nullptr);
                     }},
                    {{"stspi_open_server", "name that is not claimed; a handle is stored"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_server_handle_t handle = nullptr;
                         return world.closing(call<decltype(stspi_open_server)>(entry_point)(&world.session, "other:x",
                                                                                             nullptr, nullptr, &handle),
                                              handle);
                     }},
                    {{"stspi_open_server", "Copan array that is not in its file; a handle is stored"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_server_handle_t handle = nullptr;
                         return world.closing(call<decltype(stspi_open_server)>(entry_point)(
                                                  &world.session, "copan:other", nullptr, nullptr, &handle),
                                              handle);
                     }},
                    {{"stspi_create_server", "name of a disk array"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         const sts_host_t host{"h1"};
                         sts_server_handle_t handle = nullptr;
                         return world.closing(
                             call<decltype(stspi_create_server)>(entry_point)(&world.session, "Kelvarpool:nodeA",
                                                                              nullptr, nullptr, &host, 1, &handle),
                             handle);
                     }},
                    {{"stspi_create_server", "empty host part: a handle without a server"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         const sts_host_t host{"h1"};
                         sts_server_handle_t handle = nullptr;
                         return world.closing(call<decltype(stspi_create_server)>(entry_point)(
                                                  &world.session, "Kelvarpool:", nullptr, nullptr, &host, 1, &handle),
                                              handle);
                     }},
                    {{"stspi_create_server", "null out_handle"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         const sts_host_t host{"h1"};
                         return call<decltype(stspi_create_server)>(entry_point)(&world.session, "Kelvarpool:nodeA",
                                                                                 nullptr, nullptr, &host, 1, nullptr);
                     }},
                    {{"stspi_create_server", "null hosts with a positive count"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_server_handle_t handle = nullptr;
                         return world.closing(
                             call<decltype(stspi_create_server)>(entry_point)(&world.session, "Kelvarpool:nodeA",
                                                                              nullptr, nullptr, nullptr, 1, &handle),
                             handle);
                     }},
                    {{"stspi_create_server", "name that is not claimed; a handle is stored"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         const sts_host_t host{"h1"};
                         sts_server_handle_t handle = nullptr;
                         return world.closing(call<decltype(stspi_create_server)>(entry_point)(
                                                  &world.session, "other:x", nullptr, nullptr, &host, 1, &handle),
                                              handle);
                     }},
                    {{"stspi_create_server", "name of a Copan array; a handle is stored"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         const sts_host_t host{"h1"};
                         sts_server_handle_t handle = nullptr;
                         return world.closing(call<decltype(stspi_create_server)>(entry_point)(
                                                  &world.session, "copan:arr1", nullptr, nullptr, &host, 1, &handle),
                                              handle);
                     }},
                    {{"stspi_open_target_server", "name of a Copan array that is in its file"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_server_handle_t handle = nullptr;
                         return world.closing(
                             call<decltype(stspi_open_target_server)>(entry_point)(
                                 world.open("Kelvarpool:nodeA"), "copan:arr1", nullptr, nullptr, &handle),
                             handle);
                     }},
                    {{"stspi_open_target_server", "null source"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_server_handle_t handle = nullptr;
                         return world.closing(call<decltype(stspi_open_target_server)>(entry_point)(
                                                  nullptr, "copan:arr1", nullptr, nullptr, &handle),
                                              handle);
                     }},
                    {{"stspi_open_target_server", "null name"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_server_handle_t handle = nullptr;
                         return world.closing(call<decltype(stspi_open_target_server)>(entry_point)(
                                                  world.open("Kelvarpool:nodeA"), nullptr, nullptr, nullptr, &handle),
                                              handle);
                     }},
                    {{"stspi_open_target_server", "null out_handle"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_open_target_server)>(entry_point)(
                             world.open("Kelvarpool:nodeA"), "copan:arr1", nullptr, nullptr, nullptr);
                     }},
                    {{"stspi_open_target_server", "name that is not claimed; a handle is stored"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_server_handle_t handle = nullptr;
                         return world.closing(call<decltype(stspi_open_target_server)>(entry_point)(
                                                  world.open("Kelvarpool:nodeA"), "other:x", nullptr, nullptr, &handle),
                                              handle);
                     }},
                    {{"stspi_open_target_server", "Copan array that is not in its file; a handle is stored"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_server_handle_t handle = nullptr;
                         return world.closing(
                             call<decltype(stspi_open_target_server)>(entry_point)(
                                 world.open("Kelvarpool:nodeA"), "copan:other", nullptr, nullptr, &handle),
                             handle);
                     }},
                    {{"stspi_open_target_server", "empty host part; what is stored is freed already"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_server_handle_t handle = nullptr;
                         return call<decltype(stspi_open_target_server)>(entry_point)(
                             world.open("Kelvarpool:nodeA"), "copan:", nullptr, nullptr, &handle);
                     }},
                    {{"stspi_open_target_server", "name of a disk array; what is stored is freed already"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_server_handle_t handle = nullptr;
                         return call<decltype(stspi_open_target_server)>(entry_point)(
                             world.open("Kelvarpool:nodeA"), "Kelvarpool:nodeA", nullptr, nullptr, &handle);
                     }},
                    {{"stspi_get_server_prop", "open disk array"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_server_info_t info{};
                         return call<decltype(stspi_get_server_prop)>(entry_point)(world.open("Kelvarpool:nodeA"),
                                                                                   &info);
                     }},
                    {{"stspi_get_server_prop", "open Copan array"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_server_info_t info{};
                         return call<decltype(stspi_get_server_prop)>(entry_point)(world.open("copan:arr1"), &info);
                     }},
                    {{"stspi_get_server_prop", "null handle"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_server_info_t info{};
                         return call<decltype(stspi_get_server_prop)>(entry_point)(nullptr, &info);
                     }},
                    {{"stspi_get_server_prop", "null info"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_get_server_prop)>(entry_point)(world.open("copan:arr1"), nullptr);
                     }},
                    {{"stspi_get_server_prop", "handle without a server; the common bits are set"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_server_info_t info{};
                         return call<decltype(stspi_get_server_prop)>(entry_point)(world.open("copan:"), &info);
                     }},
                    {{"stspi_get_server_prop_byname", "name of a disk array"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_server_info_t info{};
                         return call<decltype(stspi_get_server_prop_byname)>(entry_point)(&world.session,
                                                                                          "Kelvarpool:nodeA", &info);
                     }},
                    {{"stspi_get_server_prop_byname", "name of a Copan array that is in its file"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_server_info_t info{};
                         return call<decltype(stspi_get_server_prop_byname)>(entry_point)(&world.session, "copan:arr1",
                                                                                          &info);
                     }},
                    {{"stspi_get_server_prop_byname", "null session"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_server_info_t info{};
                         return call<decltype(stspi_get_server_prop_byname)>(entry_point)(nullptr, "copan:arr1", &info);
                     }},
                    {{"stspi_get_server_prop_byname", "null info"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_get_server_prop_byname)>(entry_point)(&world.session, "copan:arr1",
                                                                                          nullptr);
                     }},
                    {{"stspi_get_server_prop_byname", "name that is not claimed"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_server_info_t info{};
                         return call<decltype(stspi_get_server_prop_byname)>(entry_point)(&world.session, "other:x",
                                                                                          &info);
                     }},
                    {{"stspi_get_server_prop_byname", "Copan array that is not in its file"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_server_info_t info{};
                         return call<decltype(stspi_get_server_prop_byname)>(entry_point)(&world.session, "copan:other",
                                                                                          &info);
                     }},
                    {{"stspi_close_server", "any handle that is stored"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_server_handle_t handle = nullptr;
                         PLUGIN(stspi_open_server)(&world.session, "copan:arr1", nullptr, nullptr, &handle);
                         return call<decltype(stspi_close_server)>(entry_point)(handle);
                     }},
                    {{"stspi_close_server", "null handle"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_close_server)>(entry_point)(nullptr);
                     }},
                    {{"stspi_open_lsu_list", "disk array created with hosts"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_lsu_list_handle_t list = nullptr;
                         return world.closing(call<decltype(stspi_open_lsu_list)>(entry_point)(
                                                  world.create("Kelvarpool:nodeA", {"h1"}), nullptr, &list),
                                              list);
                     }},
                    {{"stspi_open_lsu_list", "Copan array"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_lsu_list_handle_t list = nullptr;
                         return world.closing(
                             call<decltype(stspi_open_lsu_list)>(entry_point)(world.open("copan:arr1"), nullptr, &list),
                             list);
                     }},
                    {{"stspi_open_lsu_list", "null handle"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_lsu_list_handle_t list = nullptr;
                         return world.closing(call<decltype(stspi_open_lsu_list)>(entry_point)(nullptr, nullptr, &list),
                                              list);
                     }},
                    {{"stspi_open_lsu_list", "null out_list"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_open_lsu_list)>(entry_point)(world.open("copan:arr1"), nullptr,
                                                                                 nullptr);
                     }},
                    {{"stspi_open_lsu_list", "disk array created without hosts, or opened by name; a list is stored"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_lsu_list_handle_t list = nullptr;
                         return world.closing(call<decltype(stspi_open_lsu_list)>(entry_point)(
                                                  world.open("Kelvarpool:nodeA"), nullptr, &list),
                                              list);
                     }},
                    {{"stspi_open_lsu_list", "handle without a server; a list is stored"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_lsu_list_handle_t list = nullptr;
                         return world.closing(
                             call<decltype(stspi_open_lsu_list)>(entry_point)(world.open("copan:"), nullptr, &list),
                             list);
                     }},
                    {{"stspi_open_dynamic_lsu_list", "pool of a disk array"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_lsu_list_handle_t list = nullptr;
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(world.open("Kelvarpool:nodeA"), "p1");
                         return world.closing(call<decltype(stspi_open_dynamic_lsu_list)>(entry_point)(&lsu, &list),
                                              list);
                     }},
                    {{"stspi_open_dynamic_lsu_list", "null lsu"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_lsu_list_handle_t list = nullptr;
                         return call<decltype(stspi_open_dynamic_lsu_list)>(entry_point)(nullptr, &list);
                     }},
                    {{"stspi_open_dynamic_lsu_list", "null handle in lsu"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_lsu_list_handle_t list = nullptr;
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(nullptr, "p1");
                         return world.closing(call<decltype(stspi_open_dynamic_lsu_list)>(entry_point)(&lsu, &list),
                                              list);
                     }},
                    {{"stspi_open_dynamic_lsu_list", "null out_list"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(world.open("Kelvarpool:nodeA"), "p1");
                         return call<decltype(stspi_open_dynamic_lsu_list)>(entry_point)(&lsu, nullptr);
                     }},
                    {{"stspi_open_dynamic_lsu_list", "handle without a disk array"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_lsu_list_handle_t list = nullptr;
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(world.open("copan:arr1"), "vol1");
                         return world.closing(call<decltype(stspi_open_dynamic_lsu_list)>(entry_point)(&lsu, &list),
                                              list);
                     }},
                    {{"stspi_open_dynamic_lsu_list", "unknown pool; a list is stored"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_lsu_list_handle_t list = nullptr;
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(world.open("Kelvarpool:nodeA"), "p9");
                         return world.closing(call<decltype(stspi_open_dynamic_lsu_list)>(entry_point)(&lsu, &list),
                                              list);
                     }},
                    {{"stspi_list_lsu", "there is a next name"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         char name[STS_LSU_NAME_SIZE];
                         sts_lsu_list_handle_t list = nullptr;
                         world.closing(
                             PLUGIN(stspi_open_lsu_list)(world.create("Kelvarpool:nodeA", {"h1"}), nullptr, &list),
                             list);
                         return call<decltype(stspi_list_lsu)>(entry_point)(list, name);
                     }},
                    {{"stspi_list_lsu", "the end of the list"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         char name[STS_LSU_NAME_SIZE];
                         sts_lsu_list_handle_t list = nullptr;
                         world.closing(
                             PLUGIN(stspi_open_lsu_list)(world.create("Kelvarpool:nodeA", {"h1"}), nullptr, &list),
                             list);
                         PLUGIN(stspi_list_lsu)(list, name);
                         return call<decltype(stspi_list_lsu)>(entry_point)(list, name);
                     }},
                    {{"stspi_list_lsu", "null list"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         char name[STS_LSU_NAME_SIZE];
                         return call<decltype(stspi_list_lsu)>(entry_point)(nullptr, name);
                     }},
                    {{"stspi_list_lsu", "null out_name"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_lsu_list_handle_t list = nullptr;
                         world.closing(
                             PLUGIN(stspi_open_lsu_list)(world.create("Kelvarpool:nodeA", {"h1"}), nullptr, &list),
                             list);
                         return call<decltype(stspi_list_lsu)>(entry_point)(list, nullptr);
                     }},
                    {{"stspi_list_lsu", "list whose opening failed"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         char name[STS_LSU_NAME_SIZE];
                         sts_lsu_list_handle_t list = nullptr;
                         world.closing(PLUGIN(stspi_open_lsu_list)(world.open("Kelvarpool:nodeA"), nullptr, &list),
                                       list);
                         return call<decltype(stspi_list_lsu)>(entry_point)(list, name);
                     }},
                    {{"stspi_close_lsu_list", "any list that is stored"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_lsu_list_handle_t list = nullptr;
                         PLUGIN(stspi_open_lsu_list)(world.open("copan:arr1"), nullptr, &list);
                         return call<decltype(stspi_close_lsu_list)>(entry_point)(list);
                     }},
                    {{"stspi_close_lsu_list", "null list"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_close_lsu_list)>(entry_point)(nullptr);
                     }},
                    {{"stspi_get_lsu_prop_byname", "directory, on a disk array"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return lsu_properties(entry_point, world.open("Kelvarpool:nodeA"), world.directory.path());
                     }},
                    {{"stspi_get_lsu_prop_byname", "LSU of a Copan array"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return lsu_properties(entry_point, world.open("copan:arr1"), "vol1");
                     }},
                    {{"stspi_get_lsu_prop_byname", "disk of a pool"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return lsu_properties(entry_point, world.open("Kelvarpool:nodeA"), "p1:d1");
                     }},
                    {{"stspi_get_lsu_prop_byname", "pool"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return lsu_properties(entry_point, world.open("Kelvarpool:nodeA"), "p1");
                     }},
                    {{"stspi_get_lsu_prop_byname", "null lsu"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         sts_lsu_info_v9_t info;
                         return call<decltype(stspi_get_lsu_prop_byname)>(entry_point)(nullptr, &info);
                     }},
                    {{"stspi_get_lsu_prop_byname", "null handle in lsu"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return lsu_properties(entry_point, nullptr, "p1");
                     }},
                    {{"stspi_get_lsu_prop_byname", "null info"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(world.open("Kelvarpool:nodeA"), "p1");
                         return call<decltype(stspi_get_lsu_prop_byname)>(entry_point)(&lsu, nullptr);
                     }},
                    {{"stspi_get_lsu_prop_byname", "name that begins with a colon, on a disk array"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return lsu_properties(entry_point, world.open("Kelvarpool:nodeA"), ":d1");
                     }},
                    {{"stspi_get_lsu_prop_byname", "empty name, on a Copan array"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return lsu_properties(entry_point, world.open("copan:arr1"), "");
                     }},
                    {{"stspi_get_lsu_prop_byname", "LSU of a Copan array whose directory cannot be made"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         world.config.write("copan", "STORAGE_SERVER=arr1;\nVOLUMES=vol1;\n");
                         return lsu_properties(entry_point, world.open("copan:arr1"), "vol1");
                     }},
                    {{"stspi_get_lsu_prop_byname", "directory whose file system cannot be asked, on a disk array"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return lsu_properties(entry_point, world.open("Kelvarpool:nodeA"),
                                               world.directory / "missing");
                     }},
                    {{"stspi_get_lsu_prop_byname", "LSU of a Copan array whose file system cannot be asked"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         std::filesystem::create_directory(world.directory / "copan");
                         std::filesystem::create_symlink("/nowhere/at/all", world.directory / "copan/vol1");
                         return lsu_properties(entry_point, world.open("copan:arr1"), "vol1");
                     }},
                    {{"stspi_get_lsu_prop_byname", "unknown pool"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return lsu_properties(entry_point, world.open("Kelvarpool:nodeA"), "p9");
                     }},
                    {{"stspi_get_lsu_prop_byname", "unknown disk"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return lsu_properties(entry_point, world.open("Kelvarpool:nodeA"), "p1:d9");
                     }},
                    {{"stspi_get_lsu_prop_byname", "unknown LSU of a Copan array"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return lsu_properties(entry_point, world.open("copan:arr1"), "vol9");
                     }},
                    {{"stspi_get_lsu_prop_byname", "handle without a server"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return lsu_properties(entry_point, world.open("copan:"), "p1");
                     }},
                    {{"stspi_get_lsu_prop_byname", "pool that no HOSTS line was given for"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return lsu_properties(entry_point, world.open("Kelvarpool:nodeA"), "nohosts");
                     }},
                    {{"stspi_mount_lsu", "the mount point now links to the volume"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return mount(world, entry_point, world.open("Kelvarpool:nodeA"), "p1:d1", 1);
                     }},
                    {{"stspi_mount_lsu", "mode 0"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return mount(world, entry_point, world.open("Kelvarpool:nodeA"), "p1:d1", 0);
                     }},
                    {{"stspi_mount_lsu", "null lsu"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         char result[STS_MOUNT_RESULT_SIZE];
                         return call<decltype(stspi_mount_lsu)>(entry_point)(nullptr, "/mnt", 1, 0, result);
                     }},
                    {{"stspi_mount_lsu", "null handle in lsu"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return mount(world, entry_point, nullptr, "p1:d1", 1);
                     }},
                    {{"stspi_mount_lsu", "null mount_point"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         char result[STS_MOUNT_RESULT_SIZE];
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(world.open("Kelvarpool:nodeA"), "p1:d1");
                         return call<decltype(stspi_mount_lsu)>(entry_point)(&lsu, nullptr, 1, 0, result);
                     }},
                    {{"stspi_mount_lsu", "null out_result"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(world.open("Kelvarpool:nodeA"), "p1:d1");
                         return call<decltype(stspi_mount_lsu)>(entry_point)(&lsu, "/mnt", 1, 0, nullptr);
                     }},
                    {{"stspi_mount_lsu", "name that begins with a colon"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return mount(world, entry_point, world.open("Kelvarpool:nodeA"), ":d1", 1);
                     }},
                    {{"stspi_mount_lsu", "handle without a disk array"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return mount(world, entry_point, world.open("copan:arr1"), "vol1", 1);
                     }},
                    {{"stspi_mount_lsu", "unknown pool"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return mount(world, entry_point, world.open("Kelvarpool:nodeA"), "p9:d1", 1);
                     }},
                    {{"stspi_mount_lsu", "MOUNT_BEHAVIOR is not SUCCESS"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         world.config.write("Kelvarpool", "ENCLOSURE=p1;\nMOUNT_BEHAVIOR=ALREADY_MOUNTED;\n");
                         return mount(world, entry_point, world.open("Kelvarpool:nodeA"), "p1:d1", 1);
                     }},
                    {{"stspi_mount_lsu", "a directory or the link cannot be made"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         std::filesystem::create_directory(world.directory / "mnt");
                         return mount(world, entry_point, world.open("Kelvarpool:nodeA"), "p1:d1", 1);
                     }},
                    {{"stspi_unmount_lsu", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_unmount_lsu)>(entry_point)();
                     }},
                    {{"stspi_create_image", "LSU of a disk array, or a handle without a server"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         world.library.answer_with(library_status);
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(world.open("Kelvarpool:nodeA"), "p1");
                         return call<decltype(stspi_create_image)>(entry_point)(&lsu, &definition, 0, &image);
                     }},
                    {{"stspi_create_image", "LSU of a Copan array"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         world.library.answer_with(library_status);
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(world.open("copan:arr1"), "vol1");
                         return call<decltype(stspi_create_image)>(entry_point)(&lsu, &definition, 0, &image);
                     }},
                    {{"stspi_create_image", "null lsu"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_create_image)>(entry_point)(nullptr, &definition, 0, &image);
                     }},
                    {{"stspi_create_image", "null handle in lsu"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(nullptr, "p1");
                         return call<decltype(stspi_create_image)>(entry_point)(&lsu, &definition, 0, &image);
                     }},
                    {{"stspi_create_image", "null definition"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(world.open("Kelvarpool:nodeA"), "p1");
                         return call<decltype(stspi_create_image)>(entry_point)(&lsu, nullptr, 0, &image);
                     }},
                    {{"stspi_create_image", "null out_image"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(world.open("Kelvarpool:nodeA"), "p1");
                         return call<decltype(stspi_create_image)>(entry_point)(&lsu, &definition, 0, nullptr);
                     }},
                    {{"stspi_create_image", "unknown LSU of a Copan array"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(world.open("copan:arr1"), "vol9");
                         return call<decltype(stspi_create_image)>(entry_point)(&lsu, &definition, 0, &image);
                     }},
                    {{"stspi_open_image", "LSU of a disk array, or a handle without a server"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         world.library.answer_with(library_status);
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(world.open("Kelvarpool:nodeA"), "p1");
                         return call<decltype(stspi_open_image)>(entry_point)(&lsu, &definition, 0, &image);
                     }},
                    {{"stspi_open_image", "LSU of a Copan array"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         world.library.answer_with(library_status);
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(world.open("copan:arr1"), "vol1");
                         return call<decltype(stspi_open_image)>(entry_point)(&lsu, &definition, 0, &image);
                     }},
                    {{"stspi_open_image", "null lsu"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_open_image)>(entry_point)(nullptr, &definition, 0, &image);
                     }},
                    {{"stspi_open_image", "null handle in lsu"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(nullptr, "p1");
                         return call<decltype(stspi_open_image)>(entry_point)(&lsu, &definition, 0, &image);
                     }},
                    {{"stspi_open_image", "unknown LSU of a Copan array"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(world.open("copan:arr1"), "vol9");
                         return call<decltype(stspi_open_image)>(entry_point)(&lsu, &definition, 0, &image);
                     }},
                    {{"stspi_delete_image", "LSU of a disk array, or a handle without a server"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         world.library.answer_with(library_status);
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(world.open("Kelvarpool:nodeA"), "p1");
                         return call<decltype(stspi_delete_image)>(entry_point)(&lsu, &definition, 0);
                     }},
                    {{"stspi_delete_image", "LSU of a Copan array"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         world.library.answer_with(library_status);
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(world.open("copan:arr1"), "vol1");
                         return call<decltype(stspi_delete_image)>(entry_point)(&lsu, &definition, 0);
                     }},
                    {{"stspi_delete_image", "null lsu"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_delete_image)>(entry_point)(nullptr, &definition, 0);
                     }},
                    {{"stspi_delete_image", "null handle in lsu"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(nullptr, "p1");
                         return call<decltype(stspi_delete_image)>(entry_point)(&lsu, &definition, 0);
                     }},
                    {{"stspi_delete_image", "unknown LSU of a Copan array"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(world.open("copan:arr1"), "vol9");
                         return call<decltype(stspi_delete_image)>(entry_point)(&lsu, &definition, 0);
                     }},
                    {{"stspi_open_image_list", "LSU of a disk array, or a handle without a server"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         world.library.answer_with(library_status);
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(world.open("Kelvarpool:nodeA"), "p1");
                         return call<decltype(stspi_open_image_list)>(entry_point)(&lsu, 0, &image_list);
                     }},
                    {{"stspi_open_image_list", "LSU of a Copan array"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         world.library.answer_with(library_status);
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(world.open("copan:arr1"), "vol1");
                         return call<decltype(stspi_open_image_list)>(entry_point)(&lsu, 0, &image_list);
                     }},
                    {{"stspi_open_image_list", "null lsu"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_open_image_list)>(entry_point)(nullptr, 0, &image_list);
                     }},
                    {{"stspi_open_image_list", "null handle in lsu"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(nullptr, "p1");
                         return call<decltype(stspi_open_image_list)>(entry_point)(&lsu, 0, &image_list);
                     }},
                    {{"stspi_open_image_list", "unknown LSU of a Copan array"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(world.open("copan:arr1"), "vol9");
                         return call<decltype(stspi_open_image_list)>(entry_point)(&lsu, 0, &image_list);
                     }},
                    {{"stspi_get_image_prop_byname", "LSU of a disk array, or a handle without a server"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         world.library.answer_with(library_status);
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(world.open("Kelvarpool:nodeA"), "p1");
                         return call<decltype(stspi_get_image_prop_byname)>(entry_point)(&lsu, &definition,
                                                                                         &image_info);
                     }},
                    {{"stspi_get_image_prop_byname", "LSU of a Copan array"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         world.library.answer_with(library_status);
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(world.open("copan:arr1"), "vol1");
                         return call<decltype(stspi_get_image_prop_byname)>(entry_point)(&lsu, &definition,
                                                                                         &image_info);
                     }},
                    {{"stspi_get_image_prop_byname", "null lsu"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_get_image_prop_byname)>(entry_point)(nullptr, &definition,
                                                                                         &image_info);
                     }},
                    {{"stspi_get_image_prop_byname", "null handle in lsu"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(nullptr, "p1");
                         return call<decltype(stspi_get_image_prop_byname)>(entry_point)(&lsu, &definition,
                                                                                         &image_info);
                     }},
                    {{"stspi_get_image_prop_byname", "unknown LSU of a Copan array"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         const stsp_lsu_v7_t lsu = PluginWorld::lsu(world.open("copan:arr1"), "vol9");
                         return call<decltype(stspi_get_image_prop_byname)>(entry_point)(&lsu, &definition,
                                                                                         &image_info);
                     }},
                    {{"stspi_read_image", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         world.library.read_status = library_status;
                         return call<decltype(stspi_read_image)>(entry_point)(&image, &image_info, 0, 0, nullptr);
                     }},
                    {{"stspi_write_image", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         world.library.write_status = library_status;
                         return call<decltype(stspi_write_image)>(entry_point)(&image, nullptr, nullptr, 0, 0, nullptr);
                     }},
                    {{"stspi_get_image_prop", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         world.library.answer_with(library_status);
                         return call<decltype(stspi_get_image_prop)>(entry_point)(&image, &image_info);
                     }},
                    {{"stspi_close_image", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         world.library.answer_with(library_status);
                         return call<decltype(stspi_close_image)>(entry_point)(&image);
                     }},
                    {{"stspi_list_image", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         world.library.answer_with(library_status);
                         return call<decltype(stspi_list_image)>(entry_point)(&image_list, &definition);
                     }},
                    {{"stspi_close_image_list", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         world.library.answer_with(library_status);
                         return call<decltype(stspi_close_image_list)>(entry_point)(&image_list);
                     }},
                    {{"stspi_copy_extent", "the data was read and written"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         uint64_t count = 0;
                         return call<decltype(stspi_copy_extent)>(entry_point)(&image, 0, &image_list, 0, 8, nullptr,
                                                                               &count);
                     }},
                    {{"stspi_copy_extent", "the read failed"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         uint64_t count = 0;
                         world.library.read_status = library_status;
                         return call<decltype(stspi_copy_extent)>(entry_point)(&image, 0, &image_list, 0, 8, nullptr,
                                                                               &count);
                     }},
                    {{"stspi_copy_extent", "the write failed"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         uint64_t count = 0;
                         world.library.write_status = library_status;
                         return call<decltype(stspi_copy_extent)>(entry_point)(&image, 0, &image_list, 0, 8, nullptr,
                                                                               &count);
                     }},
                    {{"stspi_copy_extent", "null target"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         uint64_t count = 0;
                         return call<decltype(stspi_copy_extent)>(entry_point)(nullptr, 0, &image_list, 0, 8, nullptr,
                                                                               &count);
                     }},
                    {{"stspi_copy_extent", "null out_bytes_written"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_copy_extent)>(entry_point)(&image, 0, &image_list, 0, 8, nullptr,
                                                                               nullptr);
                     }},
                    {{"stspi_copy_extent", "length whose low 32 bits are a negative number"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         uint64_t count = 0;
                         return call<decltype(stspi_copy_extent)>(entry_point)(&image, 0, &image_list, 0, 0x80000000,
                                                                               nullptr, &count);
                     }},
                    {{"stspi_include_in_image", "the data was read and written"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_include_in_image)>(entry_point)(&image, 0, &image_list, 0, 8);
                     }},
                    {{"stspi_include_in_image", "the read failed"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         world.library.read_status = library_status;
                         return call<decltype(stspi_include_in_image)>(entry_point)(&image, 0, &image_list, 0, 8);
                     }},
                    {{"stspi_include_in_image", "the write failed"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         world.library.write_status = library_status;
                         return call<decltype(stspi_include_in_image)>(entry_point)(&image, 0, &image_list, 0, 8);
                     }},
                    {{"stspi_include_in_image", "null target"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_include_in_image)>(entry_point)(nullptr, 0, &image_list, 0, 8);
                     }},
                    {{"stspi_include_in_image", "length whose low 32 bits are a negative number"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_include_in_image)>(entry_point)(&image, 0, &image_list, 0,
                                                                                    0x80000000);
                     }},
                    {{"stspi_async_flush", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_async_flush)>(entry_point)();
                     }},
                    {{"stspi_async_read_image", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_async_read_image)>(entry_point)();
                     }},
                    {{"stspi_async_wait", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_async_wait)>(entry_point)();
                     }},
                    {{"stspi_async_write_image", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_async_write_image)>(entry_point)();
                     }},
                    {{"stspi_close_evchannel", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_close_evchannel)>(entry_point)();
                     }},
                    {{"stspi_delete_event", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_delete_event)>(entry_point)();
                     }},
                    {{"stspi_delete_files", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_delete_files)>(entry_point)();
                     }},
                    {{"stspi_get_image_group", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_get_image_group)>(entry_point)();
                     }},
                    {{"stspi_get_image_group_byname", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_get_image_group_byname)>(entry_point)();
                     }},
                    {{"stspi_open_evchannel", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_open_evchannel)>(entry_point)();
                     }},
                    {{"stspi_open_image_group_list", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_open_image_group_list)>(entry_point)();
                     }},
                    {{"stspi_activate_lsu", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_activate_lsu)>(entry_point)();
                     }},
                    {{"stspi_add_pool_lsu", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_add_pool_lsu)>(entry_point)();
                     }},
                    {{"stspi_alloc_lsu", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_alloc_lsu)>(entry_point)();
                     }},
                    {{"stspi_close_lsu", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_close_lsu)>(entry_point)();
                     }},
                    {{"stspi_create_lsu", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_create_lsu)>(entry_point)();
                     }},
                    {{"stspi_create_lsu_with_storel", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_create_lsu_with_storel)>(entry_point)();
                     }},
                    {{"stspi_create_lsu_with_pool", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_create_lsu_with_pool)>(entry_point)();
                     }},
                    {{"stspi_dealloc_lsu", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_dealloc_lsu)>(entry_point)();
                     }},
                    {{"stspi_delete_lsu", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_delete_lsu)>(entry_point)();
                     }},
                    {{"stspi_extract_files", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_extract_files)>(entry_point)();
                     }},
                    {{"stspi_get_host", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_get_host)>(entry_point)();
                     }},
                    {{"stspi_get_lsu_prop", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_get_lsu_prop)>(entry_point)();
                     }},
                    {{"stspi_get_pool_lsu", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_get_pool_lsu)>(entry_point)();
                     }},
                    {{"stspi_get_storel", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_get_storel)>(entry_point)();
                     }},
                    {{"stspi_get_storel_prop", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_get_storel_prop)>(entry_point)();
                     }},
                    {{"stspi_open_lsu", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_open_lsu)>(entry_point)();
                     }},
                    {{"stspi_remove_pool_lsu", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_remove_pool_lsu)>(entry_point)();
                     }},
                    {{"stspi_shutdown_server", "always"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(stspi_shutdown_server)>(entry_point)();
                     }},
                    {{"load_process", "the program ended with exit status 0"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(load_process)>(entry_point)("/bin/true", "");
                     }},
                    {{"load_process", "the program ended with exit status 1 (any other: times 256)"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(load_process)>(entry_point)("/bin/false", "");
                     }},
                    {{"load_process", "the program was killed by signal 9 (any other: its number)"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         const std::string path = world.directory / "program";
                         std::ofstream(path) << "#!/bin/sh\nkill -9 $$\n";
                         std::filesystem::permissions(path, std::filesystem::perms(0700));
                         return call<decltype(load_process)>(entry_point)(path.c_str(), "");
                     }},
                    {{"load_process", "the program could not be started"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(load_process)>(entry_point)("/no/such/program", "");
                     }},
                    {{"load_process", "null argument"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(load_process)>(entry_point)(nullptr, nullptr);
                     }},
                    {{"load_process", "blank command line"},
                     []([[maybe_unused]] PluginWorld &world, void *entry_point) -> int32_t {
                         return call<decltype(load_process)>(entry_point)(" ", " ");
                     }},
                };
    return all;
}
