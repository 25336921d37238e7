/** @file
 * Version of the headers, for a caller to test at compile time.
 *
 * The library's own version is in the log: every run of orvaFpSensorTest that has a folder writes
 * a line that begins with "sensor_test version X = V" and ORVA_FP_VERSION.
 */
#ifndef ORVA_FP_VERSION_H
#define ORVA_FP_VERSION_H

/** @defgroup version Version
 * Version of the headers and of the library.
 * @{ */

/* The one place of the version: the build reads these three lines. */
#define ORVA_FP_VERSION_MAJOR 2 /**< changes when a caller must be changed or compiled anew */
#define ORVA_FP_VERSION_MINOR 0 /**< changes when something is added */
#define ORVA_FP_VERSION_PATCH 1 /**< changes when something is mended */

/** @cond */
#define ORVA_FP_TEXT_OF(x) #x
#define ORVA_FP_TEXT(x) ORVA_FP_TEXT_OF(x)
/** @endcond */

/** The three numbers as text, with points between them. */
#define ORVA_FP_VERSION               \
  ORVA_FP_TEXT(ORVA_FP_VERSION_MAJOR) \
  "." ORVA_FP_TEXT(ORVA_FP_VERSION_MINOR) "." ORVA_FP_TEXT(ORVA_FP_VERSION_PATCH)

/** @} */

#endif
