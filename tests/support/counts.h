#pragma once

#include <analytics/enums.h>

// How much there is, for all tests. Who appends an enumerator raises its number here, and the tests that fail then ask
// for the rest. tst_enums compares the numbers with the enumerations.

constexpr int propertyCount = 139; ///< Enumerators of Property, from 0 on.
constexpr int eventTypeCount = 42; ///< Enumerators of EventType, from 1 on; 0 is Invalid.

/// Values behind the last enumerator.
constexpr auto unknownProperty = analytics::Property(propertyCount);
constexpr auto unknownEventType = analytics::EventType(eventTypeCount + 1);
