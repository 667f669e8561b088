#include "stsimage/s3/name_record.h"

#include <algorithm>
#include <sstream>

#include "stsimage/random_id.h"
#include "stsimage/s3/image_log.h"
#include "stsimage/s3/request_signing.h"

namespace stsimage::s3 {

namespace {

constexpr char first_line[] = "stsimage name 1";
constexpr char hash_word[] = "sha256 ";
constexpr size_t hash_line_size = 7 + 64 + 1;

bool is_acceptable(const ImageEntry &image) {
    return is_random_id(image.id) && image.map_place <= image.log_length && image.map_hash.size() == 64 &&
           image.log_length <= longest_log && image.size <= longest_log;
}

}  // namespace

NameRecord NameRecord::following() const {
    NameRecord next = *this;
    ++next.change;
    return next;
}

void NameRecord::add_mark(const std::string &mark) {
    marks.insert(marks.begin(), mark);
    marks.resize(std::min(marks.size(), most_marks));
}

bool NameRecord::has_mark(const std::string &mark) const {
    return std::find(marks.begin(), marks.end(), mark) != marks.end();
}

std::string text_of(const NameRecord &record) {
    std::ostringstream text;
    text << first_line << "\nchange " << record.change << '\n';
    if (record.image)
        text << "image " << record.image->id << ' ' << record.image->size << ' ' << record.image->log_length << ' '
             << record.image->map_place << ' ' << record.image->map_hash << '\n';
    if (record.claim)
        text << "claim " << record.claim->id << ' ' << record.claim->process << ' ' << record.claim->lease_seconds
             << '\n';
    if (record.leaving)
        text << "leaving\n";
    for (const std::string &mark : record.marks)
        text << "mark " << mark << '\n';
    std::string whole = text.str();
    if (record.image) {
        const std::string padding = "padding ";
        const size_t short_of = least_size_with_image - std::min<size_t>(least_size_with_image, whole.size());
        whole.append(padding).append(short_of, '.').append("\n");
    }
    const std::string hash = sha256_in_hexadecimal(whole);
    return whole.append(hash_word).append(hash).append("\n");
}

bool read_record(const std::string &text, NameRecord &out_record) {
    out_record = NameRecord();
    if (text.size() < hash_line_size)
        return false;
    const std::string checked = text.substr(0, text.size() - hash_line_size);
    if (text.substr(checked.size()) != hash_word + sha256_in_hexadecimal(checked) + "\n")
        return false;
    std::istringstream lines(checked);
    std::string line;
    if (!std::getline(lines, line) || line != first_line)
        return false;
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        std::string kind;
        words >> kind;
        if (kind == "change") {
            words >> out_record.change;
        } else if (kind == "image") {
            ImageEntry image;
            words >> image.id >> image.size >> image.log_length >> image.map_place >> image.map_hash;
            if (!is_acceptable(image))
                return false;
            out_record.image = image;
        } else if (kind == "claim") {
            Claim claim;
            words >> claim.id >> claim.process >> claim.lease_seconds;
            if (!is_random_id(claim.id) || !is_random_id(claim.process))
                return false;
            out_record.claim = claim;
        } else if (kind == "mark") {
            std::string mark;
            words >> mark;
            if (!is_random_id(mark) || out_record.marks.size() == most_marks)
                return false;
            out_record.marks.push_back(std::move(mark));
        } else if (kind == "leaving") {
            out_record.leaving = true;
        } else if (kind == "padding") {
            words >> kind;
            words.clear();
        } else {
            return false;
        }
        if (words.fail())
            return false;
    }
    return true;
}

}  // namespace stsimage::s3
