/** @file
 * Visibility of the exported functions and globals. */
#ifndef ORVA_FP_EXPORT_H
#define ORVA_FP_EXPORT_H

/** Marks what the library exports. */
#define ORVA_FP_API __attribute__((visibility("default")))

#endif
