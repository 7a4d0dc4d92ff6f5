#pragma once

#include <QtCore/qglobal.h>

/**
 * @file
 * @brief The export macro of the library.
 */

#if defined(STBANALYTICS_LIBRARY)
/// Marks what the shared library exports; everything else in it is hidden.
#define STBANALYTICS_EXPORT Q_DECL_EXPORT
#else
/// Marks what the shared library exports; everything else in it is hidden.
#define STBANALYTICS_EXPORT Q_DECL_IMPORT
#endif
