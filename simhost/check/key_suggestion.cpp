#include "simhost/check/key_suggestion.h"

#include <algorithm>
#include <iterator>

#include "base/characters.h"
#include "base/nearest_word.h"

namespace {

struct Synonym {
    const char *word;  // upper case, without '_' and '-'
    const char *key;
};

constexpr Synonym directory_words[] = {{"DIR", "STORAGE_DIR"},         {"DIRECTORY", "STORAGE_DIR"},
                                       {"FOLDER", "STORAGE_DIR"},      {"PATH", "STORAGE_DIR"},
                                       {"ROOT", "STORAGE_DIR"},        {"STORAGE", "STORAGE_DIR"},
                                       {"STORAGEPATH", "STORAGE_DIR"}, {"STORAGEDIRECTORY", "STORAGE_DIR"}};

constexpr Synonym array_words[] = {{"POOL", "ENCLOSURE"},
                                   {"POOLS", "ENCLOSURE"},
                                   {"POOLNAME", "ENCLOSURE"},
                                   {"DISKPOOL", "ENCLOSURE"},
                                   {"SHELF", "ENCLOSURE"},
                                   {"GROUP", "ENCLOSURE"},
                                   {"SIZE", "DISK_SIZE"},
                                   {"CAPACITY", "DISK_SIZE"},
                                   {"LUNSIZE", "DISK_SIZE"},
                                   {"CLIENT", "HOSTS"},
                                   {"CLIENTS", "HOSTS"},
                                   {"NODE", "HOSTS"},
                                   {"NODES", "HOSTS"},
                                   {"SERVER", "HOSTS"},
                                   {"SERVERS", "HOSTS"},
                                   {"MEDIASERVER", "HOSTS"},
                                   {"MEDIASERVERS", "HOSTS"},
                                   {"LUN", "DISKS"},
                                   {"LUNS", "DISKS"},
                                   {"DRIVE", "DISKS"},
                                   {"DRIVES", "DISKS"},
                                   {"LSUS", "DISKS"},
                                   {"TOKEN", "UDID_TOKEN"},
                                   {"UDID", "UDID_TOKEN"},
                                   {"BEHAVIOR", "MOUNT_BEHAVIOR"},
                                   {"BEHAVIOUR", "MOUNT_BEHAVIOR"},
                                   {"MOUNT", "MOUNT_BEHAVIOR"},
                                   {"MOUNTS", "MOUNT_BEHAVIOR"}};

constexpr Synonym copan_words[] = {{"SERVER", "STORAGE_SERVER"}, {"SERVERNAME", "STORAGE_SERVER"},
                                   {"ARRAY", "STORAGE_SERVER"},  {"NAME", "STORAGE_SERVER"},
                                   {"COPAN", "STORAGE_SERVER"},  {"LSU", "VOLUMES"},
                                   {"LSUS", "VOLUMES"},          {"VOLS", "VOLUMES"},
                                   {"LUNS", "VOLUMES"},          {"DISKS", "VOLUMES"}};

std::string plain_word(const std::string &key) {
    std::string word;
    for (const char byte : key)
        if (byte != '_' && byte != '-')
            word += byte >= 'a' && byte <= 'z' ? static_cast<char>(byte - 'a' + 'A') : byte;
    return word;
}

template <size_t Size>
std::string meaning_of(const std::string &word, const Synonym (&synonyms)[Size]) {
    for (const Synonym &synonym : synonyms)
        if (word == synonym.word)
            return synonym.key;
    return "";
}

// In the place of a key that would have no effect, the one that has the effect.
std::string effective_key(const std::string &key, KeyContext context) {
    if (key == "DISKGROUP")
        return "ENCLOSURE";
    if (context != KeyContext::array_enclosure && context != KeyContext::array_file)
        return key;
    if (key == "VOLUMES")
        return "DISKS";
    return key == "VOLUME_SIZE" ? "DISK_SIZE" : key;
}

}  // namespace

const std::vector<std::string> &known_keys(KeyContext context) {
    static const std::vector<std::string> array_keys = {"DISKGROUP",   "ENCLOSURE",      "HOSTS",       "DISKS",
                                                        "VOLUMES",     "DISK_SIZE",      "VOLUME_SIZE", "MOUNT_PATH",
                                                        "STORAGE_DIR", "MOUNT_BEHAVIOR", "UDID_TOKEN"};
    static const std::vector<std::string> copan_keys = {"STORAGE_SERVER", "VOLUMES", "STORAGE_DIR"};
    return context == KeyContext::copan_file ? copan_keys : array_keys;
}

std::string suggested_key(const std::string &key, KeyContext context) {
    const bool is_copan = context == KeyContext::copan_file;
    const std::string word = plain_word(key);
    for (const std::string &known : known_keys(context))
        if (word == plain_word(known))
            return effective_key(known, context);
    std::string meant = meaning_of(word, directory_words);
    if (meant.empty())
        meant = is_copan ? meaning_of(word, copan_words) : meaning_of(word, array_words);
    if (meant.empty())
        meant = nearest_word(key, known_keys(context));
    return effective_key(meant, context);
}

std::string keys_help(KeyContext context) {
    if (context == KeyContext::copan_file)
        return "a Copan file has STORAGE_SERVER, VOLUMES and STORAGE_DIR";
    return "an ENCLOSURE has DISKS, HOSTS, DISK_SIZE and STORAGE_DIR; the file has MOUNT_BEHAVIOR, UDID_TOKEN and "
           "MOUNT_PATH";
}

std::string visible_key(const std::string &key) {
    std::string visible;
    for (size_t i = 0; i < key.size();) {
        const Character character = first_character(std::string_view(key).substr(i));
        if (!character.is_valid || hidden_name(character.code) == nullptr)
            visible += key.substr(i, character.bytes);
        i += character.bytes;
    }
    return visible;
}
