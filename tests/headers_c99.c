#include <anvil.h>

int main(void)
{
    return 0;
}
