#include "lsu/dynamic_lsu_name.h"

bool isDynamicLSUName(const char *name) { return Name(name).find(':') != Name::npos; }

int parseDynamicLSUName(const char *name, Name &left, Name &right) {
    const Name whole(name);
    const size_t colon = whole.find(':');
    if (colon == 0)
        return -1;
    left = whole.substring(0, colon);
    right = whole.substring(colon + 1);  // without a colon npos + 1 is 0: the whole name again
    return 0;
}
