#include <stdlib.h>
#include <anvil.h>

int main(void)
{
    return 0;
}
