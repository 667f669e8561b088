#include "simhost/host/server_name.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simhost/report/failure.h"

using testing::HasSubstr;
using testing::Property;
using testing::Throws;

TEST(ServerName, IsSplitAtItsFirstColon) {
    EXPECT_EQ(prefix_part("copan:arr1"), "copan");
    EXPECT_EQ(host_part("copan:arr1"), "arr1");
    EXPECT_EQ(prefix_part("copan:a:b"), "copan");
    EXPECT_EQ(host_part("copan:a:b"), "a:b");
    EXPECT_EQ(prefix_part("copan"), "copan");
    EXPECT_EQ(host_part("copan"), "");
}

TEST(ServerName, NeedsBothParts) {
    EXPECT_NO_THROW(demand_server_name("copan:arr1"));
    const auto refused = [](const char *words) {
        return Throws<UsageError>(Property(&UsageError::what, HasSubstr(words)));
    };
    for (const char *name : {"copan", "copan:"})
        EXPECT_THAT([name] { demand_server_name(name); }, refused("\" lacks HOST: "));
    for (const char *name : {"", ":", ":arr1"})
        EXPECT_THAT([name] { demand_server_name(name); }, refused("\" lacks PREFIX: "));
}
