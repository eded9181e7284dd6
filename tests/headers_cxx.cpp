#include <anvil.h>
#include <stdlib.h>
#include <cstdlib>

int main()
{
    return 0;
}
