// The one place where the header-only PLY library is compiled.
#define TINYPLY_IMPLEMENTATION
#include <tinyply.h>
