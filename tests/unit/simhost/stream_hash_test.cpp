#include "simhost/host/stream_hash.h"

#include <gtest/gtest.h>

TEST(StreamHash, OfNothingIsTheKnownValue) { EXPECT_EQ(StreamHash().text(), "99aa06d3014798d86001c324468d497f"); }

TEST(StreamHash, DoesNotDependOnThePieces) {
    const std::string data(100'000, 'x');
    StreamHash whole;
    whole.add(data.data(), data.size());
    StreamHash pieces;
    for (size_t i = 0; i < data.size(); i += 7)
        pieces.add(data.data() + i, std::min<size_t>(7, data.size() - i));
    EXPECT_EQ(whole.text(), pieces.text());
}

TEST(StreamHash, TellsOneChangedBit) {
    StreamHash one, other;
    one.add("abc", 3);
    other.add("abb", 3);
    EXPECT_NE(one.text(), other.text());
}
