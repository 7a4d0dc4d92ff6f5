#include "lifetime.h"

// A library that links ours is made after it, and is destroyed before it: its static objects may report events.

static Lifetime const ofLibrary(10);

Q_DECL_EXPORT void useLibrary();

void useLibrary()
{
}
