#include "simple/simple_forms.h"
