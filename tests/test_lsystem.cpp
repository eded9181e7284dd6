#include <anvil/lsystem.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <fcntl.h>
#include <unistd.h>

#include "support/execd_stub.hpp"
#include "support/isolated_test.hpp"

using anvil_test::ExecdStub;

using Lsystem = anvil_test::IsolatedTest;

TEST_F(Lsystem, ReturnsTheDaemonsReplyUnchanged)
{
    ExecdStub daemon;
    ASSERT_TRUE(daemon.listening());
    EXPECT_EQ(lsystem("reply 0"), 0);
    EXPECT_EQ(lsystem("reply 256"), 256);
    EXPECT_EQ(lsystem("reply -7"), -7);
    EXPECT_EQ(lsystem(""), 1);  // a single NUL byte went out
}

TEST_F(Lsystem, CommandLengthLimit)
{
    std::string longest(255, 'x');
    std::string too_long(256, 'x');
    // Without a daemon, a refused length shows no connection was tried.
    EXPECT_EQ(lsystem(too_long.c_str()), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);
    EXPECT_EQ(lsystema(too_long.c_str()), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);

    ExecdStub daemon;
    EXPECT_EQ(lsystem(longest.c_str()), 256);  // the stub answers with the bytes it got
    EXPECT_EQ(lsystem(too_long.c_str()), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);
    EXPECT_EQ(daemon.connections(), 1);
}

TEST_F(Lsystem, NoDaemonIsECONNREFUSED)
{
    EXPECT_EQ(lsystem("true"), -1);
    EXPECT_EQ(errno, ECONNREFUSED);
    EXPECT_EQ(lsystema("true"), -1);
    EXPECT_EQ(errno, ECONNREFUSED);
}

TEST_F(Lsystem, DaemonClosingWithoutReplyIsECONNRESET)
{
    ExecdStub daemon;
    EXPECT_EQ(lsystem("close"), -1);
    EXPECT_EQ(errno, ECONNRESET);

    int fd = lsystema("close");
    ASSERT_GE(fd, 0);
    EXPECT_EQ(waitlsystema(fd), -1);
    EXPECT_EQ(errno, ECONNRESET);
    EXPECT_NE(fcntl(fd, F_GETFD), -1);  // still the caller's to close
    close(fd);
}

TEST_F(Lsystem, OutstandingCommandsKeepTheirOwnResults)
{
    ExecdStub daemon;
    int a = lsystema("reply 11");
    int b = lsystema("reply 22");
    ASSERT_GE(a, 0);
    ASSERT_GE(b, 0);
    EXPECT_EQ(waitlsystema(b), 22);
    EXPECT_EQ(waitlsystema(a), 11);
    close(a);
    close(b);
}
