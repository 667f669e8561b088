#include "tests/fuzz/well_formed_file.h"

#include <vector>

namespace {

class Writer {
public:
    explicit Writer(std::mt19937 &engine) : m_engine(engine) {}

    void array() {
        const unsigned pools = 1 + draw(4);
        for (unsigned pool = 0; pool < pools; ++pool) {
            line("ENCLOSURE", name("pool", pool));
            m_indent = draw(2) == 0 ? "\t" : draw(2) == 0 ? "    " : "";
            // In any order.
            const unsigned first = draw(4);
            for (unsigned key = 0; key < 4; ++key)
                array_key((first + key) % 4, pool);
            m_indent = "";
        }
        if (draw(2) == 0)
            line("MOUNT_BEHAVIOR", "SUCCESS");
        if (draw(2) == 0)
            line("UDID_TOKEN", name("lab", draw(3)));
    }

    void copan() {
        const unsigned servers = 1 + draw(3);
        for (unsigned server = 0; server < servers; ++server) {
            line("STORAGE_SERVER", name("arr", server));
            const bool volumes_first = draw(2) == 0;
            if (volumes_first)
                line("VOLUMES", list("vol", server));
            line("STORAGE_DIR", "/var/tmp/" + name("copan", server));
            if (!volumes_first)
                line("VOLUMES", list("vol", server));
        }
    }

    std::string take() { return std::move(m_text); }

private:
    unsigned draw(unsigned below) { return static_cast<unsigned>(m_engine() % below); }

    std::string name(const char *stem, unsigned number) {
        static const char *const endings[] = {"", "_a", "-b", ".c", "XY", "0123456789"};
        return stem + std::to_string(number) + endings[draw(6)];
    }

    std::string list(const std::string &stem, unsigned owner) {
        std::string text;
        const unsigned count = 1 + draw(6);
        for (unsigned i = 0; i < count; ++i)
            text += (i == 0 ? "" : draw(4) == 0 ? ", " : ",") + name((stem + std::to_string(owner) + "v").c_str(), i);
        return text;
    }

    void array_key(unsigned key, unsigned pool) {
        static const char *const sizes[] = {"10G", "512M", "2T", "1K", "4096", "100G", "1P", "07G"};
        switch (key) {
            case 0:
                line("DISKS", list("d", pool));
                break;
            case 1:
                line("HOSTS", draw(2) == 0 ? "mediaA" : draw(2) == 0 ? "mediaA,mediaB" : "mediaB,host-3.local");
                break;
            case 2:
                line("DISK_SIZE", sizes[draw(8)]);
                break;
            default:
                line("STORAGE_DIR", "/var/tmp/" + name("storage", pool));
        }
    }

    void line(const char *key, const std::string &value) {
        static const char *const equals[] = {" = ", "=", "\t=\t", " ="};
        m_text +=
            m_indent + key + equals[draw(4)] + value + (draw(8) == 0 ? "; " : ";") + (draw(16) == 0 ? "\n\n" : "\n");
    }

    std::mt19937 &m_engine;
    std::string m_text;
    std::string m_indent;
};

}  // namespace

std::string well_formed_file(std::mt19937 &engine) {
    const bool is_array = engine() % 2 == 0;
    Writer writer(engine);
    is_array ? writer.array() : writer.copan();
    std::string text = writer.take();
    if ((text.size() % 2 == 0) != is_array)
        text += '\n';
    return text;
}
