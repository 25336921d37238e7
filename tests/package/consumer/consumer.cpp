// A C++11 program that uses the library as a user would: exit status 0 when all is as promised.
#include <cstring>

#include <orva_fp/sensor_test.h>

int main() {
  char path[16] = "";
  const bool composed = confirm_save_path(path, sizeof path, "folder", "file") == 1;
  return composed && strcmp(path, "folder/file") == 0 ? 0 : 1;
}
