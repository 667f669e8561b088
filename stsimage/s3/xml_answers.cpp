#include "stsimage/s3/xml_answers.h"

#include <charconv>
#include <pugixml.hpp>

namespace stsimage::s3 {

namespace {

std::string text_of(const pugi::xml_node &parent, const char *name) { return parent.child(name).text().get(); }

bool read_object(const pugi::xml_node &node, ListedObject &out_object) {
    out_object.key = text_of(node, "Key");
    const std::string size = text_of(node, "Size");
    const auto [end, error] = std::from_chars(size.data(), size.data() + size.size(), out_object.size);
    if (out_object.key.empty() || error != std::errc() || end != size.data() + size.size())
        return false;
    // "2026-01-31T12:00:00.000Z"
    const std::string modified = text_of(node, "LastModified");
    std::tm parts{};
    if (strptime(modified.c_str(), "%Y-%m-%dT%H:%M:%S", &parts) == nullptr)
        return false;
    out_object.modified = timegm(&parts);
    return true;
}

}  // namespace

ServiceError read_error(const std::string &body) {
    if (body.find("<Error") == body.npos)
        return {};
    pugi::xml_document document;
    if (!document.load_buffer(body.data(), body.size()))
        return {};
    const pugi::xml_node error = document.child("Error");
    return {text_of(error, "Code"), text_of(error, "Message")};
}

bool read_list(const std::string &body, ListPage &out_page) {
    out_page = ListPage();
    pugi::xml_document document;
    if (!document.load_buffer(body.data(), body.size()))
        return false;
    const pugi::xml_node list = document.child("ListBucketResult");
    if (!list)
        return false;
    for (const pugi::xml_node &node : list.children("Contents")) {
        ListedObject object;
        if (!read_object(node, object))
            return false;
        out_page.objects.push_back(std::move(object));
    }
    for (const pugi::xml_node &node : list.children("CommonPrefixes"))
        out_page.prefixes.push_back(text_of(node, "Prefix"));
    const std::string truncated = text_of(list, "IsTruncated");
    if (truncated == "false")
        return true;
    out_page.continuation = text_of(list, "NextContinuationToken");
    return truncated == "true" && !out_page.continuation.empty();
}

}  // namespace stsimage::s3
