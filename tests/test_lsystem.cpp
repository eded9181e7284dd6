#include <anvil/lsystem.h>
#include <gtest/gtest.h>

#include <string>

#include "support/execd_stub.hpp"
#include "support/io_helpers.hpp"
#include "support/isolated_test.hpp"

using anvil_test::ExecdStub;
using anvil_test::fails;
using Lsystem = anvil_test::IsolatedTest;

TEST_F(Lsystem, ReturnsTheDaemonsReplyUnchanged)
{
    ExecdStub daemon;
    ASSERT_TRUE(daemon.listening());
    EXPECT_EQ(lsystem("reply 0"), 0);
    EXPECT_EQ(lsystem("reply 256"), 256);
    EXPECT_EQ(lsystem("reply -7"), -7);
    EXPECT_EQ(lsystem(""), 1);  // a single NUL byte went out
    EXPECT_EQ(fails(lsystem(std::string(256, 'x').c_str())), ENAMETOOLONG);
    EXPECT_EQ(daemon.connections(), 4);  // none for the refused length
}

TEST_F(Lsystem, WithoutADaemon)
{
    // ENAMETOOLONG rather than ECONNREFUSED: no connection was tried.
    EXPECT_EQ(fails(lsystema(std::string(256, 'x').c_str())), ENAMETOOLONG);
    for (auto call : {lsystem, lsystema})
        EXPECT_EQ(fails(call("true")), ECONNREFUSED);
}

TEST_F(Lsystem, OutstandingCommandsKeepTheirOwnResults)
{
    ExecdStub daemon;
    anvil_test::Fd a{lsystema("reply 11")}, b{lsystema("reply 22")};
    ASSERT_GE(a, 0);
    ASSERT_GE(b, 0);
    EXPECT_EQ(waitlsystema(b), 22);
    EXPECT_EQ(waitlsystema(a), 11);
}
