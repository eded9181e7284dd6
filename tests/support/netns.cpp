#include <sched.h>

#include "support/test_support.hpp"

namespace anvil_test {

bool enter_private_netns()
{
    return unshare(CLONE_NEWNET) == 0;
}

}  // namespace anvil_test
