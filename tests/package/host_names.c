// The host program's own functions under names that the library exports: they have other arguments
// and do other things. How often any was called is counted.
int host_calls;

const char *sort(const char *order);
double file_write(double amount);
int host_calls_its_own(void);

const char *sort(const char *order) {
  ++host_calls;
  return order;
}

double file_write(double amount) {
  ++host_calls;
  return amount / 2;
}

int host_calls_its_own(void) {
  const char *const order = "ascending";
  return sort(order) == order && file_write(5.0) == 2.5;
}
