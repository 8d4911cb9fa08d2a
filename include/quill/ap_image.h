/* quill/ap_image.h: the files of access point software, one for each family of processors, and which of these files may
 * be used.
 *
 *     type    file                    in the full set
 *     7       mips64.qim              no
 *     10      mips32.qim              yes
 *     15      armv5te.qim             yes
 *     25      e500.qim                yes
 *     26      mips32-14mb.qim         no
 *     23      armv5te-14mb.qim        no
 *     30      armv7ns.qim             yes
 *     40      ipq806x.qim             yes
 *     43      e5500.qim               yes
 *     48      ipq40xx.qim             yes
 *
 * All functions are reentrant. Texts are borrowed, constant, and last as long as the process. */
#ifndef QUILL_AP_IMAGE_H
#define QUILL_AP_IMAGE_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

/* ap_get_image_filename returns the file of an image type, or null when there is no such type. */
QUILL_API const char *ap_get_image_filename(uint32_t type);

/* ap_get_image_type returns the type of the file with this name, or 0xffffffff. The name must be that of the table, in
 * the same case and without a folder. */
QUILL_API uint32_t ap_get_image_type(const char *filename);

/* ap_get_all_image_filenames calls callback with each file of the full set, in the order of the table. */
QUILL_API void ap_get_all_image_filenames(void (*callback)(const char *filename));

/* isImgCompatWithCPU always returns 1, because this processor can use every image that it is offered. */
QUILL_API int isImgCompatWithCPU(void);

/* isImgCompatWithCfg returns 1 when version a1.a2 is above 3.1, or when version a5.a6 is not above 3.1; else 0.
 * Versions are compared by major, then minor number. The callers define which of the two versions belongs to the image,
 * and which to the configuration. a3 and a4 have no effect. */
QUILL_API int isImgCompatWithCfg(uint32_t a1, uint32_t a2, uint32_t a3, uint32_t a4, uint32_t a5, uint32_t a6);

QUILL_END_DECLS

#endif
