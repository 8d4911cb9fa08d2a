/* quill/quill.h: every family of libquill. */
#ifndef QUILL_QUILL_H
#define QUILL_QUILL_H

#include <quill/address.h>
#include <quill/ap_image.h>
#include <quill/ap_version.h>
#include <quill/argv.h>
#include <quill/btree.h>
#include <quill/cell_profiles.h>
#include <quill/cfgm.h>
#include <quill/command.h>
#include <quill/component_log.h>
#include <quill/flash.h>
#include <quill/hash.h>
#include <quill/hash_keyed.h>
#include <quill/identity.h>
#include <quill/idx_table.h>
#include <quill/ipv6.h>
#include <quill/list.h>
#include <quill/location.h>
#include <quill/machine_info.h>
#include <quill/md5.h>
#include <quill/message.h>
#include <quill/names.h>
#include <quill/pipe.h>
#include <quill/rbtree.h>
#include <quill/reg_table.h>
#include <quill/savl.h>
#include <quill/savle.h>
#include <quill/scramble.h>
#include <quill/smss.h>
#include <quill/storage.h>
#include <quill/sxdr.h>
#include <quill/sxdr_safe.h>
#include <quill/syslog.h>
#include <quill/tlv.h>
#include <quill/types.h>
#include <quill/validators.h>
#include <quill/vlan_alloc.h>
#include <quill/vmap.h>
#include <quill/web_category.h>

#endif
