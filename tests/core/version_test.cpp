#include <gtest/gtest.h>

#include "qvovc.h"

TEST(Version, RecordIsOneConstantObject) {
    const QvoLibraryVersion* version = qvovcGetLibVersion();
    ASSERT_EQ(version, qvovcGetLibVersion());
    EXPECT_EQ(4, version->major);
    EXPECT_EQ(1, version->minor);
    EXPECT_EQ(10, version->majorBuild);
    EXPECT_EQ(38, version->build);
    EXPECT_EQ(std::string("px\0\0", 4), std::string(version->targetCpu, 4));
    EXPECT_STREQ("libqvovcpx.so", version->Name);
    EXPECT_STREQ("v4.1", version->Version);
    EXPECT_STREQ("Jul 22 2004", version->BuildDate);
}
