/* Colours, 0 to 255 per component. */
#pragma once

typedef unsigned char SUByte;

typedef struct {
  SUByte red;
  SUByte green;
  SUByte blue;
  SUByte alpha;
} SUColor;
