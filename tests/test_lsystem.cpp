#include <anvil/lsystem.h>
#include <gtest/gtest.h>

#include <string>

#include "support/execd_stub.hpp"
#include "support/io_helpers.hpp"
#include "support/isolated_test.hpp"

using anvil_test::fails;
using Lsystem = anvil_test::IsolatedTest;

// Requests cut short by the daemon and long transfers are in test_stress.cpp,
// a refused connection in test_matrix.cpp.
TEST_F(Lsystem, ReturnsTheDaemonsReplyUnchanged)
{
    const std::string too_long(256, 'x');
    anvil_test::ExecdStub daemon;
    ASSERT_TRUE(daemon.listening());
    EXPECT_EQ(lsystem("reply 0"), 0);
    EXPECT_EQ(lsystem("reply 256"), 256);
    EXPECT_EQ(lsystem("reply -7"), -7);
    EXPECT_EQ(lsystem(""), 1);  // a single NUL byte went out
    EXPECT_EQ(fails(lsystem(too_long.c_str())), ENAMETOOLONG);
    EXPECT_EQ(fails(lsystema(too_long.c_str())), ENAMETOOLONG);
    // Outstanding commands keep their own results.
    anvil_test::Fd a{lsystema("reply 11")}, b{lsystema("reply 22")};
    ASSERT_GE(a, 0);
    ASSERT_GE(b, 0);
    EXPECT_EQ(waitlsystema(b), 22);
    EXPECT_EQ(waitlsystema(a), 11);
    EXPECT_EQ(daemon.connections(), 6);  // none for the refused lengths
}
