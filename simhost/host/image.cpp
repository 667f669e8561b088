#include "simhost/host/image.h"

#include <fmt/format.h>

#include <cstdio>
#include <exception>

#include "base/escaped_text.h"
#include "base/text_field.h"
#include "simhost/host/record_field.h"
#include "simhost/report/quantities.h"

namespace {

sts_image_definition_t definition_of(const std::string &name) {
    sts_image_definition_t definition = {};
    set_field(definition.name, name, "the image name");
    return definition;
}

std::string place(const std::string &lsu_name, const std::string &image) {
    return fmt::format("{}, image {}", in_quotes(lsu_name), in_quotes(image));
}

class ImageList {
public:
    explicit ImageList(Host &host) : m_host(host) {}
    ImageList(const ImageList &) = delete;
    ImageList &operator=(const ImageList &) = delete;
    ~ImageList() {
        if (handle != nullptr)
            m_host.release("stspi_close_image_list", "",
                           [this](Call &) { return m_host.entry().close_image_list(handle); });
    }

    void close() {
        sts_image_list_handle_t list = std::exchange(handle, nullptr);
        m_host.call("stspi_close_image_list", "", [&](Call &) { return m_host.entry().close_image_list(list); });
    }

    sts_image_list_handle_t handle = nullptr;

private:
    Host &m_host;
};

}  // namespace

ImageStore::ImageStore(Server &server, const std::string &lsu_name)
    : m_server(server), m_host(server.host()), m_lsu(server.lsu(lsu_name)), m_lsu_name(lsu_name) {}

// A disk array hands every name on to the image library.
int32_t ImageStore::explained(Call &call, int32_t status) const {
    if (m_server.kind() == ServerKind::copan) {
        if (status == STS_E_NO_SERVER)
            call.reason = m_server.no_such_lsu(m_lsu_name);
        else if (status == STSIMG_E_INVALID_LSU)
            call.reason = failed_file_call();
    }
    return status;
}

std::vector<std::string> ImageStore::list(Unused unused) {
    ImageList list(m_host);
    const auto open = [&](Call &call) {
        const int32_t status = explained(call, m_host.entry().open_image_list(&m_lsu, 0, &list.handle));
        if (status == STS_E_NOT_FOUND && unused == Unused::is_empty)
            call.result = "no image was ever put on it";
        return status;
    };
    const std::initializer_list<int32_t> good = {0};
    const std::initializer_list<int32_t> good_or_unused = {0, STS_E_NOT_FOUND};
    if (m_host.call("stspi_open_image_list", in_quotes(m_lsu_name), open,
                    unused == Unused::is_empty ? good_or_unused : good) != 0) {
        if (const std::string why = m_server.why_not_usable(m_lsu_name); !why.empty())
            throw BadAnswer(why);
        return {};
    }
    std::vector<std::string> names;
    m_host.call("stspi_list_image", "until the end",
                [&](Call &call) {
                    sts_image_definition_t definition = {};
                    int32_t status = 0;
                    for (call.times = 1; (status = m_host.entry().list_image(list.handle, &definition)) == 0;
                         ++call.times) {
                        names.push_back(field_text(definition.name));
                        stop_if_interrupted();
                    }
                    call.result = counted(names);
                    return status;
                },
                {STS_E_NO_MORE_ENTRIES});
    list.close();
    return names;
}

bool ImageStore::is_directory() const { return m_server.kind() == ServerKind::copan || m_lsu_name.rfind('/', 0) == 0; }

bool ImageStore::has(const std::string &name) {
    const sts_image_definition_t definition = definition_of(name);
    sts_image_info_t info = {};
    const int32_t status = m_host.call(
        "stspi_get_image_prop_byname", place(m_lsu_name, name),
        [&](Call &call) { return explained(call, m_host.entry().get_image_prop_byname(&m_lsu, &definition, &info)); },
        {0, STS_E_NOT_FOUND});
    return status == 0;
}

sts_image_info_t ImageStore::info(const std::string &name) {
    const sts_image_definition_t definition = definition_of(name);
    sts_image_info_t info = {};
    m_host.call("stspi_get_image_prop_byname", place(m_lsu_name, name), [&](Call &call) {
        const int32_t status = explained(call, m_host.entry().get_image_prop_byname(&m_lsu, &definition, &info));
        if (status == 0)
            call.result = bytes_in_words(info.size_bytes);
        return status;
    });
    return info;
}

void ImageStore::remove(const std::string &name) {
    const sts_image_definition_t definition = definition_of(name);
    m_host.call("stspi_delete_image", place(m_lsu_name, name),
                [&](Call &call) { return explained(call, m_host.entry().delete_image(&m_lsu, &definition, 0)); });
}

void ImageStore::discard(const std::string &name) noexcept {
    try {
        const sts_image_definition_t definition = definition_of(name);
        m_host.release("stspi_delete_image", place(m_lsu_name, name),
                       [&](Call &) { return m_host.entry().delete_image(&m_lsu, &definition, 0); },
                       {0, STS_E_NOT_FOUND});
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "simhost: the image stays: %s\n", failure.what());
    }
}

OpenImage::OpenImage(ImageStore &store, const std::string &name, How how)
    : m_host(store.host()), m_name(name), m_how(how) {
    const sts_image_definition_t definition = definition_of(name);
    if (how == How::create)
        m_host.call("stspi_create_image", place(store.lsu_name(), name), [&](Call &call) {
            return store.explained(call, m_host.entry().create_image(&store.lsu(), &definition, 0, &m_handle));
        });
    else
        m_host.call("stspi_open_image", place(store.lsu_name(), name), [&](Call &call) {
            return store.explained(call,
                                   m_host.entry().open_image(&store.lsu(), &definition, STSIMG_MODE_READ, &m_handle));
        });
}

OpenImage::~OpenImage() {
    if (m_handle != nullptr && m_how == How::read)
        m_host.release("stspi_close_image", in_quotes(m_name),
                       [this](Call &) { return m_host.entry().close_image(m_handle); });
}

void OpenImage::close() {
    sts_image_handle_t handle = std::exchange(m_handle, nullptr);
    m_host.call("stspi_close_image", in_quotes(m_name), [&](Call &) { return m_host.entry().close_image(handle); });
}
