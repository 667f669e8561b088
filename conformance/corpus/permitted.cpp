#include "permitted.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "real_plugin.h"

namespace broken {

namespace {

constexpr size_t name_buffer = 32;  // names in a configuration file, with what ends them

std::string without_white_space(std::string text) {
    text.erase(std::remove_if(text.begin(), text.end(), [](unsigned char c) { return std::isspace(c); }), text.end());
    return text;
}

// The items of a list that fit; false when one does not.
bool all_fit(const std::string &list, std::string &fitting) {
    bool all = true;
    std::istringstream items(list);
    for (std::string item; std::getline(items, item, ',');) {
        if (item.size() < name_buffer)
            fitting += (fitting.empty() ? "" : ",") + item;
        else
            all = false;
    }
    return all;
}

}  // namespace

void keep(size_t size) {
    // The compiler may drop an allocation whose result nobody uses.
    void *kept = std::malloc(size);
    asm volatile("" : : "r"(kept) : "memory");
}

bool refuses_host(const char *server_name) {
    if (!is("permitted.long-host-refused") && !is("permitted.long-host-refused-early"))
        return false;
    const char *colon = server_name == nullptr ? nullptr : std::strchr(server_name, ':');
    return server_name != nullptr && std::strlen(colon == nullptr ? server_name : colon + 1) >= STS_SERVER_NAME_SIZE;
}

bool refuses_unterminated(const stsp_lsu_v7_t *lsu) {
    return is("permitted.unterminated-refused") && lsu != nullptr && lsu->server != nullptr &&
           std::memchr(lsu->lsu_name, '\0', sizeof lsu->lsu_name) == nullptr;
}

const stsp_lsu_v7_t *terminated(const stsp_lsu_v7_t *lsu, stsp_lsu_v7_t &copy) {
    if (!is("permitted.unterminated-cut") || lsu == nullptr ||
        std::memchr(lsu->lsu_name, '\0', sizeof lsu->lsu_name) != nullptr)
        return lsu;
    copy = *lsu;
    copy.lsu_name[sizeof copy.lsu_name - 1] = '\0';
    return &copy;
}

void change_domain(char *server_name) {
    char *dot = is("permitted.other-domain") ? std::strstr(server_name, ".quillmere.local") : nullptr;
    if (dot != nullptr)
        std::strcpy(dot, ".storage.example.org");  // longer than the wrapped plug-in's
}

void understand(std::string &line) {
    static bool is_left_out = false;
    static bool has_owner = false;  // of VOLUMES: a disk group, or a Copan array
    const std::string bare = without_white_space(line);
    const size_t equals = bare.find('=');
    const std::string key = bare.substr(0, equals);
    const std::string value = equals == std::string::npos ? bare : bare.substr(equals + 1);
    const bool is_header = key == "ENCLOSURE" || key == "DISKGROUP" || key == "STORAGE_SERVER";
    if (is_header)
        has_owner = has_owner || key != "ENCLOSURE";
    if (is("permitted.config-one-character-size-is-0") && key == "DISK_SIZE" && value.size() == 1)
        line = "DISK_SIZE=0;\n";
    if (is("permitted.config-volumes-silent") && key == "VOLUMES" && !has_owner)
        line = "\n";
    const bool items_left_out = is("permitted.config-long-items-left-out");
    if (items_left_out || is("permitted.config-long-lists-left-out")) {
        if (is_header)
            is_left_out = value.size() >= name_buffer;
        if (is_left_out) {
            line = "\n";
        } else if (key == "DISKS" || key == "HOSTS" || key == "VOLUMES") {
            std::string fitting;
            if (!all_fit(value, fitting))
                line = items_left_out ? key + "=" + fitting + "\n" : "\n";
        }
    }
}

std::string formatted(const std::string &text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        out += text[i];
        if (text[i] == '%' && i + 1 < text.size() && text[i + 1] == '%')
            ++i;
    }
    return out;
}

}  // namespace broken
