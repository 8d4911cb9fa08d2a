/* quill/types.h: the types and conventions that every family of libquill shares.
 *
 * These rules hold everywhere, unless a header gives another rule:
 *
 * Results      Hash tables, lists and VLAN sets return 1 for done and 0 for not done (absent, already there, out of
 *              memory). Look-ups return the stored word, or 0 when it is absent. Trees return a node or a key pointer,
 *              or null when it is absent or memory ran out. The index table returns 0 for done and -1 for not done. The
 *              codec returns bytes: the unchecked form returns 0 on another kind of element, the checked one returns -1
 *              and sets errno.
 * Ownership    "new": the caller owns the result and releases it with the function named. "borrowed": the library or a
 *              container keeps it, and the text says how long it lasts. An argument without one of the words "kept" and
 *              "taken" is used only during the call. The program may free it after the call. "kept": the pointer is
 *              stored. "taken": the library frees it.
 * Null         A pointer argument must not be null unless its function says what null means.
 * Contracts    A call that breaks the contract ends the process through the C library's assertion report, also in
 *              builds with NDEBUG. A process that continued would corrupt its own data. Headers name these calls. For
 *              the hash tables, the list, the index table and the VLAN pool, some null arguments also break the
 *              contract. They are a null table, key, name, cursor, comparison, result pointer, list of a VLAN pool, or
 *              MAC address, unless the text says otherwise. The place in the report (such as "hash:90") is a fixed mark
 *              for searching logs, not a line of the sources. Any other null pointer that a function does not allow has
 *              no defined effect.
 * Threads      "reentrant" functions touch nothing but their arguments. One thread at a time uses an object (table,
 *              list, map). Different threads may use different objects at the same time.
 * Byte order   MAC and IPv6 addresses are in transmission order. An IPv4 address in a uint32_t is in network order, as
 *              in in_addr.s_addr. Bytes that leave the process are big-endian on every host.
 * Compatibility  This word, with a reason, marks behaviour that looks like an error and is kept because programs depend
 *                on it.
 * Since        Everything is part of version 1.0, unless the text names a later one. With glibc, a program that needs
 *              names of a later version than the installed library does not start. The loader's message contains the
 *              version: QUILL_1.1, for example.
 *
 * Every header compiles alone as C11 and as C++17 or later. Link with -lquill. */
#ifndef QUILL_TYPES_H
#define QUILL_TYPES_H

#include <stdint.h>

/* The version of these headers, for #if. The library that a program runs with may be a later one. */
#define QUILL_VERSION_MAJOR 1 /* changes with the interface */
#define QUILL_VERSION_MINOR 0 /* grows with additions */
#define QUILL_VERSION_PATCH 0 /* grows with corrections */
/* QUILL_VERSION_NUMBER makes one number from a version, for a comparison with QUILL_VERSION. */
#define QUILL_VERSION_NUMBER(major, minor, patch) ((major) * 10000 + (minor) * 100 + (patch))
/* QUILL_VERSION is the version of these headers as one number: 10000 for 1.0.0. */
#define QUILL_VERSION QUILL_VERSION_NUMBER(QUILL_VERSION_MAJOR, QUILL_VERSION_MINOR, QUILL_VERSION_PATCH)

#ifdef __cplusplus
#define QUILL_BEGIN_DECLS extern "C" { /* opens declarations of C */
#define QUILL_END_DECLS }              /* closes them */
#else
#define QUILL_BEGIN_DECLS /* opens declarations of C */
#define QUILL_END_DECLS   /* closes them */
#endif

/* QUILL_API marks what the shared object exports; everything else in it is hidden. */
#define QUILL_API __attribute__((visibility("default")))

/* QUILL_INLINE marks functions that headers define: they are compiled into the caller, and the library has no symbol
 * for them. */
#define QUILL_INLINE static inline __attribute__((unused))

/* QUILL_THROWS_NOTHING marks functions that the C library declares as well. In C++, the C library declares these
 * functions as throwing nothing, and a second declaration must match the first. */
#if defined(__cplusplus) && defined(__THROW)
#define QUILL_THROWS_NOTHING __THROW
#else
#define QUILL_THROWS_NOTHING
#endif

QUILL_BEGIN_DECLS

/* quill_word is a machine word: an unsigned number, or a pointer that is cast to a number. It is 32 bits on the device
 * and as wide as a pointer elsewhere. */
typedef uintptr_t quill_word;

/* The families of an ip_af_addr: the numbers of Linux's AF_INET and AF_INET6, in memory and in messages. */
enum { QUILL_AF_INET = 2, QUILL_AF_INET6 = 10 };

/* ip_af_addr is an IP address with its family: 20 bytes. */
typedef struct ip_af_addr {
    uint16_t family;  /* QUILL_AF_INET or QUILL_AF_INET6, in host byte order */
    uint8_t zero[2];  /* must be zero */
    uint8_t addr[16]; /* transmission order; IPv4 occupies the first 4 bytes and the other 12 must be zero */
} ip_af_addr;

/* Each of these numbers is one kind of visit to a node in the walk of a binary tree. They are those of the C library's
 * VISIT type (POSIX, search.h). */
enum {
    QUILL_PREORDER = 0,  /* before the left subtree */
    QUILL_POSTORDER = 1, /* between the subtrees: in ascending order */
    QUILL_ENDORDER = 2,  /* after the right subtree */
    QUILL_LEAF = 3       /* the only visit of a node without children */
};

QUILL_END_DECLS

#endif
