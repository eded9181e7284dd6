// A test fixture that runs in a private network namespace (abstract socket
// names are per namespace) and fails a test that leaks a descriptor.
#pragma once

#include <gtest/gtest.h>

#include "support/test_support.hpp"

namespace anvil_test {

class IsolatedTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        static const bool isolated = enter_private_netns();
        if (!isolated)
            GTEST_SKIP() << "no private network namespace (needs CAP_SYS_ADMIN)";
        fds_ = open_fd_count();
    }
    void TearDown() override
    {
        if (!IsSkipped())
            EXPECT_EQ(open_fd_count(), fds_) << "descriptor leaked";
    }

private:
    int fds_ = 0;
};

}  // namespace anvil_test
