#include "stsimage/s3/request_signing.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <array>
#include <new>

#include "base/hexadecimal.h"
#include "stsimage/process_end.h"

namespace stsimage::s3 {

namespace {

// Nothing as the process ends: libcrypto is taken down then.
std::string sha256(std::string_view data) {
    const UnderWay under_way;
    if (process_ends())
        return {};
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned length = 0;
    if (EVP_Digest(data.data(), data.size(), digest.data(), &length, EVP_sha256(), nullptr) != 1)
        throw std::bad_alloc();  // nothing else can go wrong
    return {reinterpret_cast<const char *>(digest.data()), length};
}

std::string hmac(std::string_view key, std::string_view data) {
    const UnderWay under_way;
    if (process_ends())
        return {};
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned length = 0;
    if (HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()),
             reinterpret_cast<const unsigned char *>(data.data()), data.size(), digest.data(), &length) == nullptr)
        throw std::bad_alloc();
    return {reinterpret_cast<const char *>(digest.data()), length};
}

bool is_unreserved(char character) {
    return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
           (character >= '0' && character <= '9') || character == '-' || character == '.' || character == '_' ||
           character == '~';
}

std::string encode(std::string_view text, std::string_view kept) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string encoded;
    encoded.reserve(text.size());
    for (const char character : text) {
        if (is_unreserved(character) || kept.find(character) != kept.npos) {
            encoded += character;
            continue;
        }
        const auto byte = static_cast<unsigned char>(character);
        encoded += '%';
        encoded += digits[byte >> 4];
        encoded += digits[byte & 15];
    }
    return encoded;
}

// "20260131T120000Z"
std::string formatted_time(std::time_t now) {
    std::tm parts{};
    gmtime_r(&now, &parts);
    char text[32];
    return {text, std::strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &parts)};
}

}  // namespace

std::string encode_path(std::string_view path) { return encode(path, "/"); }
std::string encode_component(std::string_view text) { return encode(text, ""); }

std::string encode_query(const Fields &query) {
    std::string encoded;
    for (const auto &[name, value] : query) {
        if (!encoded.empty())
            encoded += '&';
        encoded.append(encode(name, "")).append("=").append(encode(value, ""));
    }
    return encoded;
}

std::string sha256_in_hexadecimal(std::string_view data) { return in_hexadecimal(sha256(data)); }

void sign(Request &request, const std::string &host, const Credentials &credentials, const std::string &region,
          std::time_t now) {
    const std::string time = formatted_time(now);
    const std::string day = time.substr(0, time.find('T'));
    const std::string hash = sha256_in_hexadecimal(request.body);
    request.headers["host"] = host;
    request.headers["x-amz-date"] = time;
    request.headers["x-amz-content-sha256"] = hash;
    if (!credentials.session_token.empty())
        request.headers["x-amz-security-token"] = credentials.session_token;

    std::string names;
    std::string canonical =
        request.method + '\n' + encode_path(request.path) + '\n' + encode_query(request.query) + '\n';
    for (const auto &[name, value] : request.headers) {
        canonical.append(name).append(":").append(value).append("\n");
        names.append(names.empty() ? "" : ";").append(name);
    }
    canonical.append("\n").append(names).append("\n").append(hash);

    const std::string scope = day + '/' + region + "/s3/aws4_request";
    const std::string to_sign = "AWS4-HMAC-SHA256\n" + time + '\n' + scope + '\n' + sha256_in_hexadecimal(canonical);
    std::string key = "AWS4" + credentials.secret_key;
    for (const std::string &part : {day, region, std::string("s3"), std::string("aws4_request")})
        key = hmac(key, part);
    request.headers["authorization"] = "AWS4-HMAC-SHA256 Credential=" + credentials.access_key + '/' + scope +
                                       ",SignedHeaders=" + names + ",Signature=" + in_hexadecimal(hmac(key, to_sign));
}

}  // namespace stsimage::s3
