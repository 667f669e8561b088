#include "journal/about.h"

#include "journal/items.h"

namespace journal {

AboutFacts read_about(std::string_view bytes) {
    AboutFacts facts;
    ItemCursor items(bytes);
    for (ItemView item; items.next(item);)
        switch (static_cast<About>(item.head.argument)) {
            case About::writer:
                facts.writer = item.bytes;
                break;
            case About::plugin:
                facts.plugin = item.bytes;
                break;
            case About::plugin_hash:
                facts.plugin_hash = item.bytes;
                break;
            case About::rules:
                facts.rules = item.bytes;
                break;
            case About::seed:
                facts.seed = item.word();
                break;
            case About::program:
                facts.program = item.bytes;
                break;
            case About::interface_version:
                facts.interface_version = item.word();
                break;
            case About::data_directory:
                facts.data_directory = item.bytes;
                break;
        }
    return facts;
}

}  // namespace journal
