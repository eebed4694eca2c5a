/*
** Packed records of examples/scene.schema, written by rkdd header.
** Each struct lies byte for byte as the library lays the record out;
** the assertions make the compiler prove it. Needs C11.
*/
#ifndef RKDD_SCENE_SCHEMA_H
#define RKDD_SCENE_SCHEMA_H

#include <stddef.h>
#include <stdint.h>

#pragma pack(push, 1)

/* LpOrigin: code 256, rktype_rec, 14 bytes */
struct LpOrigin {
  double LpWeight; /* rktype_dval */
  int16_t LpCount[3]; /* rktype_sval */
};
_Static_assert(offsetof(struct LpOrigin, LpWeight) == 0, "LpOrigin.LpWeight");
_Static_assert(offsetof(struct LpOrigin, LpCount) == 8, "LpOrigin.LpCount");
_Static_assert(sizeof(struct LpOrigin) == 14, "size of LpOrigin");

/* LpModes: code 257, rktype_rec, 8 bytes */
struct LpModes {
  uint32_t LpDirection; /* rktype_enum */
  uint32_t LpPolarity; /* rktype_enum */
};
_Static_assert(offsetof(struct LpModes, LpDirection) == 0, "LpModes.LpDirection");
_Static_assert(offsetof(struct LpModes, LpPolarity) == 4, "LpModes.LpPolarity");
_Static_assert(sizeof(struct LpModes) == 8, "size of LpModes");

/* LpHeader: code 258, rktype_bead, IHEADER, 28 bytes */
struct LpHeader {
  int32_t LpId; /* rktype_ival */
  char LpName[24]; /* rktype_text */
};
_Static_assert(offsetof(struct LpHeader, LpId) == 0, "LpHeader.LpId");
_Static_assert(offsetof(struct LpHeader, LpName) == 4, "LpHeader.LpName");
_Static_assert(sizeof(struct LpHeader) == 28, "size of LpHeader");

/* LpLight: code 259, rktype_bead, ILTPNTLVL, 78 bytes */
struct LpLight {
  char LpName[24]; /* rktype_text */
  float LpIntensity; /* rktype_fval */
  float LpRadius; /* rktype_fval */
  uint8_t LpVisible; /* rktype_flag, bit 0 */
  uint8_t LpFlashing; /* rktype_flag, bit 1 */
  struct LpOrigin LpOrigin[2]; /* LpOrigin in line */
  uint32_t LpColor; /* rktype_uival */
  uint32_t LpHeader; /* pointer to LpHeader */
  struct LpModes LpModes; /* LpModes in line */
};
_Static_assert(offsetof(struct LpLight, LpName) == 0, "LpLight.LpName");
_Static_assert(offsetof(struct LpLight, LpIntensity) == 24, "LpLight.LpIntensity");
_Static_assert(offsetof(struct LpLight, LpRadius) == 28, "LpLight.LpRadius");
_Static_assert(offsetof(struct LpLight, LpVisible) == 32, "LpLight.LpVisible");
_Static_assert(offsetof(struct LpLight, LpFlashing) == 33, "LpLight.LpFlashing");
_Static_assert(offsetof(struct LpLight, LpOrigin) == 34, "LpLight.LpOrigin");
_Static_assert(offsetof(struct LpLight, LpColor) == 62, "LpLight.LpColor");
_Static_assert(offsetof(struct LpLight, LpHeader) == 66, "LpLight.LpHeader");
_Static_assert(offsetof(struct LpLight, LpModes) == 70, "LpLight.LpModes");
_Static_assert(sizeof(struct LpLight) == 78, "size of LpLight");

/* LpStrobe: code 260, rktype_bead, ILTSRCLVL, 78 bytes */
struct LpStrobe {
  char LpName[24]; /* rktype_text */
  float LpIntensity; /* rktype_fval */
  float LpRadius; /* rktype_fval */
  uint8_t LpVisible; /* rktype_flag, bit 0 */
  uint8_t LpFlashing; /* rktype_flag, bit 1 */
  struct LpOrigin LpOrigin[2]; /* LpOrigin in line */
  uint32_t LpColor; /* rktype_uival */
  uint32_t LpHeader; /* pointer to LpHeader */
  struct LpModes LpModes; /* LpModes in line */
};
_Static_assert(offsetof(struct LpStrobe, LpName) == 0, "LpStrobe.LpName");
_Static_assert(offsetof(struct LpStrobe, LpIntensity) == 24, "LpStrobe.LpIntensity");
_Static_assert(offsetof(struct LpStrobe, LpRadius) == 28, "LpStrobe.LpRadius");
_Static_assert(offsetof(struct LpStrobe, LpVisible) == 32, "LpStrobe.LpVisible");
_Static_assert(offsetof(struct LpStrobe, LpFlashing) == 33, "LpStrobe.LpFlashing");
_Static_assert(offsetof(struct LpStrobe, LpOrigin) == 34, "LpStrobe.LpOrigin");
_Static_assert(offsetof(struct LpStrobe, LpColor) == 62, "LpStrobe.LpColor");
_Static_assert(offsetof(struct LpStrobe, LpHeader) == 66, "LpStrobe.LpHeader");
_Static_assert(offsetof(struct LpStrobe, LpModes) == 70, "LpStrobe.LpModes");
_Static_assert(sizeof(struct LpStrobe) == 78, "size of LpStrobe");

/* LpGroup: code 261, rktype_rec, IGROUP, 0 bytes */
/* struct LpGroup has nothing to hold */

#pragma pack(pop)

#endif /* RKDD_SCENE_SCHEMA_H */
