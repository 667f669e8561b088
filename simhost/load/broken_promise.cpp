#include "simhost/load/broken_promise.h"

const char *promise_word(PromiseKind kind) {
    static constexpr const char *words[] = {
#define PROMISE_WORD(name, word, what) word,
        BROKEN_PROMISES(PROMISE_WORD)
#undef PROMISE_WORD
    };
    return words[static_cast<size_t>(kind)];
}

const char *promise_meaning(PromiseKind kind) {
    static constexpr const char *meanings[] = {
#define PROMISE_MEANING(name, word, what) what,
        BROKEN_PROMISES(PROMISE_MEANING)
#undef PROMISE_MEANING
    };
    return meanings[static_cast<size_t>(kind)];
}
