/* Points, vectors and transformations. */
#pragma once

struct SUPoint2D {
  double x;
  double y;
};

struct SUPoint3D {
  double x;
  double y;
  double z;
};

struct SUVector3D {
  double x;
  double y;
  double z;
};

/* 4 x 4, column-major: the translation is in places 12 to 14. */
struct SUTransformation {
  double values[16];
};

#ifndef __cplusplus
typedef struct SUPoint2D SUPoint2D;
typedef struct SUPoint3D SUPoint3D;
typedef struct SUVector3D SUVector3D;
typedef struct SUTransformation SUTransformation;
#endif
