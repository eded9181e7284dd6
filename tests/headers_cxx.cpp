#include <anvil.h>

int main()
{
    return 0;
}
