#include "mirel_host.h"

__attribute__((visibility("default"))) void Init_mirel_host(void);

void Init_mirel_host(void) {
  VALUE geom = rb_define_module("Geom");
  mirel_host_define_triples(geom);
  mirel_host_define_polygon_mesh(geom);
  mirel_host_define_packing();
}
