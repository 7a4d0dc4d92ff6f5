#pragma once

/**
 * @file
 * @brief The version of the headers that a host is compiled with.
 *
 * @code
 * #if STBANALYTICS_VERSION >= STBANALYTICS_VERSION_CHECK(1, 1, 0)
 * @endcode
 */

/// A new major version breaks hosts that were built before.
#define STBANALYTICS_VERSION_MAJOR 1
/// A new minor version adds something that a host may use.
#define STBANALYTICS_VERSION_MINOR 0
/// A new patch version changes nothing that a header says.
#define STBANALYTICS_VERSION_PATCH 0

/// A version as a number; later versions have larger numbers. Each part is below 256.
#define STBANALYTICS_VERSION_CHECK(major, minor, patch) (((major) << 16) | ((minor) << 8) | (patch))

/// The version as a number.
#define STBANALYTICS_VERSION                                                                                           \
    STBANALYTICS_VERSION_CHECK(STBANALYTICS_VERSION_MAJOR, STBANALYTICS_VERSION_MINOR, STBANALYTICS_VERSION_PATCH)
