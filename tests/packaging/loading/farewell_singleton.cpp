#include "farewell.h"

static Farewell &singleton()
{
    static Farewell farewell;
    return farewell;
}

int main()
{
    singleton().report(1);
}
