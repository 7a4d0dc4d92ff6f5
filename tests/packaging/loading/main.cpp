#include "lifetime.h"

#include <QtCore/QCoreApplication>

// Events from before main() and after it, when there is no application yet, and none any more.

void useLibrary();

static Lifetime const ofProgram(20);

int main(int argc, char **argv)
{
    QCoreApplication const application(argc, argv);
    Lifetime const inMain(30);
    useLibrary(); // Or the linker might leave it out.
}
