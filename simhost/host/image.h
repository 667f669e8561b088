// Images on an LSU of an open server.
#pragma once

#include <string>
#include <vector>

#include "simhost/host/server.h"
#include "stspi/stsimg.h"

// An LSU's images, by name.
class ImageStore {
public:
    // The server must outlive the store. Throws UsageError for an LSU name that does not fit.
    ImageStore(Server &server, const std::string &lsu_name);

    Host &host() const { return m_host; }
    const stsp_lsu_v7_t &lsu() const { return m_lsu; }
    // Says in a call about an image why it failed, if that is the LSU. Returns the status.
    int32_t explained(Call &call, int32_t status) const;
    const std::string &lsu_name() const { return m_lsu_name; }

    // What an LSU's list is that the library does not know, since no image was ever put on it: a failure, or empty.
    enum class Unused { fails, is_empty };
    // Throws BadAnswer for an unused LSU, if that fails or if the server does not offer such an LSU to its hosts.
    std::vector<std::string> list(Unused unused = Unused::fails);
    // Why images on this LSU will not be found by a framework: the server does not offer it. Empty when it does.
    std::string why_not_usable() { return m_server.why_not_usable(m_lsu_name); }
    // Whether it is a directory, and not a name below the image library's root: on a Copan array each LSU is one.
    bool is_directory() const;
    bool has(const std::string &name);
    sts_image_info_t info(const std::string &name);
    void remove(const std::string &name);
    // The same on the way out of a failure: never throws, and an image that is not there is as good as removed.
    void discard(const std::string &name) noexcept;

private:
    Server &m_server;
    Host &m_host;
    stsp_lsu_v7_t m_lsu;
    std::string m_lsu_name;
};

// One open image.
class OpenImage {
public:
    enum class How { create, read };
    // Throws UsageError for an image name that does not fit.
    OpenImage(ImageStore &store, const std::string &name, How how);
    // Releases the handle of an image that was read, if close was not called. One that was being written is left open:
    // closing it would put half an image in place of a good one. The image library gives it up when it is shut down.
    ~OpenImage();
    OpenImage(const OpenImage &) = delete;
    OpenImage &operator=(const OpenImage &) = delete;

    void close();
    Host &host() const { return m_host; }
    const std::string &name() const { return m_name; }
    sts_image_handle_t handle() const { return m_handle; }

private:
    Host &m_host;
    std::string m_name;
    How m_how;
    sts_image_handle_t m_handle = nullptr;
};
