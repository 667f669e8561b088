#include "sim/orv_sim_storage_server.h"

#include <ace/OS_NS_sys_utsname.h>

#include "base/text_field.h"
#include "sim/array_size.h"
#include "sim/config_file.h"
#include "sim/config_reader.h"
#include "sim/standard_output.h"

namespace {

// The DNS domain in which simulated hosts live.
constexpr char domain_suffix[] = ".quillmere.local";

constexpr size_t initial_diskgroups = 10;
constexpr size_t initial_enclosures = 5;

}  // namespace

const sts_session_def_v7_t *OrvSimStorageServer::m_sd = nullptr;

OrvSimStorageServer::OrvSimStorageServer(const std::string &server_name) : m_mount_behavior("SUCCESS") {
    if (server_name.empty())
        return;
    if (server_name.find(':') == std::string::npos) {
        print_line("Error in server_name");
        return;
    }
    m_config_name = configuration_name(server_name);
    try {
        read_configuration();
    } catch (...) {
        release_model();
        throw;
    }
}

OrvSimStorageServer::~OrvSimStorageServer() { release_model(); }

void OrvSimStorageServer::read_configuration() {
    const File file = open_configuration(m_config_name, "r");
    if (file == nullptr)
        return;
    if (!set_server_name()) {
        print_line("Error getting hostname");
        return;
    }
    resize(m_diskgroups, initial_diskgroups);
    resize(m_enclosures, initial_enclosures);
    read_disk_array(file.get(), m_diskgroups, m_enclosures, {m_mount_path, m_mount_behavior, m_udid_token});
    adjustForPlugin();
}

bool OrvSimStorageServer::set_server_name() {
    ACE_utsname system;
    if (ACE_OS::uname(&system) != 0)
        return false;
    copy_text(m_server_name, system.nodename);
    append_text(m_server_name, sizeof m_server_name, domain_suffix);
    return true;
}

void OrvSimStorageServer::release_model() {
    for (size_t i = 0; i < m_diskgroups.size(); ++i)
        release_lists(m_diskgroups[i]);
    for (size_t i = 0; i < m_enclosures.size(); ++i)
        release_lists(m_enclosures[i]);
}

std::string *OrvSimStorageServer::getInfo() { return new std::string(m_server_name); }

std::vector<LSU *> *OrvSimStorageServer::getLSUList() { return nullptr; }

LSU *OrvSimStorageServer::getLSU(std::string) { return nullptr; }

char *OrvSimStorageServer::generate_path(std::string) { return nullptr; }

const char *OrvSimStorageServer::get_server_name() const { return m_server_name; }

void OrvSimStorageServer::set_session(const sts_session_def_v7_t *session) { m_sd = session; }

void *OrvSimStorageServer::getStorageElementList(const HostSet *, int16_t, bool) const { return nullptr; }
