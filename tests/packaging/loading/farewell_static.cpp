#include "farewell.h"

static Farewell farewell;

int main()
{
    farewell.report(1);
}
