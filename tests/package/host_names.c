// The host program's own functions under names that the library exports.
#include "host_names.h"

int host_sort_calls;
int host_file_write_calls;
int host_is_water_calls;

const char *sort(const char *order);
double file_write(double amount);
int is_water(void);

const char *sort(const char *order) {
  ++host_sort_calls;
  return order;
}

double file_write(double amount) {
  ++host_file_write_calls;
  return amount / 2;
}

int is_water(void) {
  ++host_is_water_calls;
  return -7;
}

int host_calls_its_own(void) {
  const char *const order = "ascending";
  return sort(order) == order && file_write(5.0) == 2.5 && is_water() == -7;
}
