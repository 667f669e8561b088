#include "stsimage/s3/credentials.h"

#include <fstream>
#include <map>

#include "stsimage/last_error.h"
#include "stsimage/quoted_text.h"
#include "stsimage/s3/environment.h"
#include "stspi/stsimg.h"

namespace stsimage::s3 {

namespace {

constexpr char blanks[] = " \t\r";

std::string trimmed(const std::string &text) {
    const size_t begin = text.find_first_not_of(blanks);
    return begin == text.npos ? std::string() : text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

// The settings of one section, "[NAME]" and lines of "key = value".
std::map<std::string, std::string> read_section(std::istream &file, const std::string &section) {
    std::map<std::string, std::string> settings;
    bool inside = false;
    std::string line;
    while (std::getline(file, line)) {
        line = trimmed(line);
        if (line.empty() || line.front() == '#' || line.front() == ';')
            continue;
        if (line.front() == '[') {
            inside = trimmed(line.substr(1, line.find(']') - 1)) == section;
            continue;
        }
        const size_t equals = line.find('=');
        if (inside && equals != line.npos)
            settings[trimmed(line.substr(0, equals))] = trimmed(line.substr(equals + 1));
    }
    return settings;
}

bool is_whole(const Credentials &credentials) {
    return !credentials.access_key.empty() && !credentials.secret_key.empty();
}

}  // namespace

bool CredentialsFile::read(Credentials &out_credentials) const {
    std::ifstream file(path);
    std::map<std::string, std::string> settings = read_section(file, profile);
    out_credentials = {settings["aws_access_key_id"], settings["aws_secret_access_key"], settings["aws_session_token"]};
    return is_whole(out_credentials);
}

int32_t find_credentials(Credentials &out_credentials, CredentialsFile &out_file) {
    out_file = {};
    out_credentials = {environment("AWS_ACCESS_KEY_ID"), environment("AWS_SECRET_ACCESS_KEY"),
                       environment("AWS_SESSION_TOKEN")};
    if (is_whole(out_credentials))
        return 0;
    out_file = {environment("AWS_SHARED_CREDENTIALS_FILE", environment("HOME") + "/.aws/credentials"),
                environment("AWS_PROFILE", "default")};
    if (out_file.read(out_credentials))
        return 0;
    return fail(
        STSIMG_E_NO_ACCESS,
        "there are no credentials: neither AWS_ACCESS_KEY_ID and AWS_SECRET_ACCESS_KEY are set, nor are there any "
        "for the profile %s in %s",
        QuotedText(out_file.profile).c_str(), QuotedText(out_file.path).c_str());
}

}  // namespace stsimage::s3
