#include "base/entities.h"

#include <gtest/gtest.h>

TEST(Entities, StandForMarkup) {
    EXPECT_EQ(with_entities(""), "");
    EXPECT_EQ(with_entities("a<b> && c"), "a&lt;b&gt; &amp;&amp; c");
    EXPECT_EQ(with_entities("&amp;"), "&amp;amp;");
}

TEST(Entities, StandForTheQuotationMarksThatAreNamed) {
    EXPECT_EQ(with_entities("\"it's\""), "\"it's\"");
    EXPECT_EQ(with_entities("\"it's\"", "\""), "&quot;it's&quot;");
    EXPECT_EQ(with_entities("\"it's\"", "'"), "\"it&#39;s\"");
    EXPECT_EQ(with_entities("\"it's\"", "\"'"), "&quot;it&#39;s&quot;");
}

TEST(Entities, LeaveEveryOtherByte) {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte)
        if (byte != '&' && byte != '<' && byte != '>' && byte != '"' && byte != '\'')
            bytes += static_cast<char>(byte);
    EXPECT_EQ(with_entities(bytes, "\"'"), bytes);
}
