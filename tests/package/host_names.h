// Functions of the host program whose names the library exports too. They have other arguments
// and do other things than the library's; how often each was called is counted.
#ifndef ORVA_TESTS_HOST_NAMES_H
#define ORVA_TESTS_HOST_NAMES_H

#ifdef __cplusplus
extern "C" {
#endif

extern int host_sort_calls;
extern int host_file_write_calls;
extern int host_is_water_calls;

// Calls sort, file_write and is_water by these names; 1 when it was the host's own that answered.
int host_calls_its_own(void);

#ifdef __cplusplus
}
#endif

#endif
