/* qxtt.h: C interface of the template tools library (libqxtt), which describes the node's KR
 * templates, their packages, and the packages of the containers made from them.
 *
 * Results: 0 is success. Anything else is a failure, one of QXTT_E_*, and nothing is then left to
 * release: the caller's pointer or record is as it was.
 * Ownership: results that have a clean function are released with it; every other result is one
 * block (entries, arrays and texts together) for one free().
 * Names of OS templates are taken with and without their leading "."; they come back with it.
 * Threads: every call is independent of the others; the library keeps no state between calls. */
#ifndef QXTT_QXTT_H
#define QXTT_QXTT_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define QXTT_API __attribute__((visibility("default")))

/* Size and words of the options record, as byte offsets of 32-bit words. */
#define QXTT_OPTIONS_SIZE 120
#define QXTT_OPTION_QUIET_OFFSET 4         /* 0: do not ask and do not talk */
#define QXTT_OPTION_LOCAL_OFFSET 8         /* 1: answer from the node's own data */
#define QXTT_OPTION_VE_TEMPLATES_OFFSET 28 /* 1: the templates installed in the container */
#define QXTT_OPTION_VE_PACKAGES_OFFSET 44  /* 1: the packages installed in the container */
#define QXTT_OPTION_MASK_OFFSET 100        /* which fields to fill */

/* Selection masks that callers use. */
#define QXTT_MASK_LIST 0x80011u          /* names, architectures, "yes" flags */
#define QXTT_MASK_LIST_SUMMARY 0x80051u  /* the same and summaries */
#define QXTT_MASK_PACKAGE_INFO 0xddu     /* every field of pkg_info */
#define QXTT_MASK_TEMPLATE_INFO 0xffff7u /* every field of tmpl_info but the library's own */
#define QXTT_MASK_PACKAGE_LISTS 0x700u   /* the three package lists of tmpl_info */

/* Bits of the mask. A field whose bit is not set stays null; a bit that selects nothing in a record
 * is ignored there. Names are always filled, and so are the architectures and versions of package
 * listings. Bits without a name here select nothing. */
#define QXTT_MASK_OS_NAME_BIT 0x4u              /* tmpl_info.os_name */
#define QXTT_MASK_VERSION_BIT 0x4u              /* pkg_info.version */
#define QXTT_MASK_PACKAGING_BIT 0x8u            /* tmpl_info.packaging */
#define QXTT_MASK_REPOSITORY_BIT 0x8u           /* pkg_info.repository */
#define QXTT_MASK_ARCHITECTURE_BIT 0x10u        /* architecture of tmpl_info and pkg_info */
#define QXTT_MASK_CONFIG_PATH_BIT 0x20u         /* tmpl_info.config_path */
#define QXTT_MASK_SUMMARY_BIT 0x40u             /* summaries of all records */
#define QXTT_MASK_DESCRIPTION_BIT 0x80u         /* descriptions */
#define QXTT_MASK_BASE_PACKAGES_BIT 0x100u      /* tmpl_info.base_packages */
#define QXTT_MASK_LATE_BASE_PACKAGES_BIT 0x200u /* tmpl_info.late_base_packages */
#define QXTT_MASK_PACKAGES_BIT 0x400u           /* tmpl_info.packages */
#define QXTT_MASK_TECHNOLOGIES_BIT 0x10000u     /* tmpl_info.technologies */
#define QXTT_MASK_CACHED_BIT 0x80000u           /* tmpl_info.cached */

/* Codes of failures. qxtt_get_ve_status gives them negated. */
#define QXTT_E_ARGUMENT 1       /* a null argument, or a package name that cannot be one */
#define QXTT_E_MEMORY 2         /* no memory */
#define QXTT_E_NO_TEMPLATE 3    /* the node has no such template, or none can be called so */
#define QXTT_E_BAD_TEMPLATE 4   /* the template's metadata is broken or cannot be read */
#define QXTT_E_NO_CONTAINER 5   /* the node has no such container */
#define QXTT_E_BAD_CONTAINER 6  /* its configuration is broken, or names no KR OS template */
#define QXTT_E_NO_ROOT 7        /* the container has no private area yet */
#define QXTT_E_BAD_DATABASE 8   /* the package database is broken or cannot be read */
#define QXTT_E_BAD_REPOSITORY 9 /* a local repository is not there, broken or cannot be read */
#define QXTT_E_ENGINE 10        /* the program that reads package databases cannot be started */
#define QXTT_E_INTERNAL 11      /* anything else */

/* Options of every query. Words that have no offset above are the library's own and ignored.
 *
 * QUIET: with another value than 0 the reason of a failure is written to standard error.
 * LOCAL: the library answers from the node's own data whatever the word says; it uses no network.
 * VE_TEMPLATES, VE_PACKAGES: callers set them in the queries that they belong to; these queries
 * answer the same without. */
struct qxtt_options {
    uint32_t words[QXTT_OPTIONS_SIZE / sizeof(uint32_t)];
};

/* A package of an OS template's repositories. Any pointer may be null: not known. */
struct pkg_info {
    char* name;         /* 0 */
    char* version;      /* 1 */
    char* repository;   /* 2: where it was found; the library's own */
    char* architecture; /* 3 */
    char* summary;      /* 4 */
    char** description; /* 5: lines, ended by a null pointer */
};

/* A template. Any pointer may be null: not known, or not selected by the mask. Lists of texts end
 * with a null pointer. */
struct tmpl_info {
    char* name;                /* 0: with its leading "." */
    char* os_name;             /* 1: OS template that an application template belongs to */
    char* packaging;           /* 2: "rpm" or "deb"; the library's own */
    char* architecture;        /* 3 */
    char* config_path;         /* 4: folder of the template's metadata; callers carry it */
    char* summary;             /* 5 */
    char** description;        /* 6: lines */
    char** base_packages;      /* 7: packages a cache begins with; an array when mask 0x700 asks */
    char** late_base_packages; /* 8: packages a cache gets after these; as field 7 */
    char** packages;           /* 9: packages the template adds to these; as field 7 */
    void* reserved10[5];       /* 10 to 14 */
    char** technologies;       /* 15 */
    void* reserved16[2];       /* 16, 17 */
    char* cached;              /* 18: "yes" when the template's metadata says so */
};

/* A package in a listing; texts may be null. */
struct packageListEntry {
    char* name;         /* 0 */
    char* architecture; /* 1 */
    char* version;      /* 2 */
    char* summary;      /* 3 */
};

/* A template in a listing; each word is pointer-sized. */
struct templateListEntry {
    void* reserved;         /* word 0 */
    uintptr_t is_os;        /* word 1: not 0 for an OS template */
    struct tmpl_info* info; /* word 2 */
};

/* Fills all 120 bytes; the caller passes raw storage. */
QXTT_API void qxtt_set_default_options(struct qxtt_options* options);

/* Packages called `name` of the OS template `os`: from its local repositories, failing these its
 * cache, failing that the first of the containers of that OS that has it. *out: array ended by
 * null; its first element counts, which is the newest that fits the template's architecture; a null
 * first element with code 0 means not found. A source that cannot be read is passed over; its code
 * comes when no other source knows the package. Released with qxtt_clean_pkg_info, which takes the
 * address of the array's variable, takes null in it, and sets it to null. */
QXTT_API int qxtt_get_pkg_info(const char* os, const char* name, const struct qxtt_options* options,
                               struct pkg_info*** out);
QXTT_API void qxtt_clean_pkg_info(struct pkg_info*** out);

/* One OS template, into the caller's record; released with qxtt_clean_tmpl_info. */
QXTT_API int qxtt_get_os_tmpl_info(const char* name, const struct qxtt_options* options,
                                   struct tmpl_info* info);

/* One application template. `os_or_veid`: an OS template's name, or a container's number in decimal
 * digits (all digits = a number), which means the OS template of that container. */
QXTT_API int qxtt_get_app_tmpl_info(const char* os_or_veid, const char* name,
                                    const struct qxtt_options* options, struct tmpl_info* info);

/* Releases the record's fields and zeroes it; a zeroed record is taken too. */
QXTT_API void qxtt_clean_tmpl_info(struct tmpl_info* info);

/* Names of all OS templates of the node, sorted; array ended by null, one block. Those with broken
 * metadata are left out: whoever asks for one by its name gets QXTT_E_BAD_TEMPLATE. */
QXTT_API int qxtt_get_all_base(char*** names);

/* An OS template and its application templates, the OS template first, then by name. Application
 * templates with broken metadata are left out. */
QXTT_API int qxtt_get_templates_list(const char* os, const struct qxtt_options* options,
                                     struct templateListEntry*** out);

/* The templates of a container: its OS template and the application templates installed there, in
 * the same order. Those whose metadata is broken or gone come with their names alone. */
QXTT_API int qxtt_get_ve_templates_list(int veid, const struct qxtt_options* options,
                                        struct templateListEntry*** out);

/* Takes the address of the array's variable, takes null in it, and sets it to null. */
QXTT_API void qxtt_clean_templates_list(struct templateListEntry*** out);

/* Packages that the local repositories of an OS template offer, sorted by name; one block. Of
 * several versions for one architecture the newest; for other architectures than the template's,
 * none in deb repositories. Repositories that need the network are passed over. Summaries are
 * filled when the mask has a bit of QXTT_MASK_SUMMARY_BIT or of QXTT_MASK_PACKAGE_LISTS. */
QXTT_API int qxtt_get_template_pkgs(const char* os, const struct qxtt_options* options,
                                    struct packageListEntry*** out);

/* Packages in a container's own rpm or dpkg database, sorted by name; one block, never null on
 * success. The OS template's packaging says which database; when its metadata is gone or broken,
 * the one that is there. A private area without a database has no packages. */
QXTT_API int qxtt_get_ve_pkgs(int veid, const struct qxtt_options* options,
                              struct packageListEntry*** out);

/* Name of a container's OS template, with its "."; one block. */
QXTT_API int qxtt_get_ve_ostemplate(int veid, char** name, const struct qxtt_options* options);

/* Status of a container: > 0 its templates are up to date and it can be worked on, 0 it exists but
 * has no private area yet, < 0 (a negated QXTT_E_*) it is not known or its configuration cannot be
 * read. */
QXTT_API int qxtt_get_ve_status(int veid, const struct qxtt_options* options);

#ifdef __cplusplus
}
static_assert(sizeof(struct qxtt_options) == QXTT_OPTIONS_SIZE, "callers fix the size");
static_assert(offsetof(struct tmpl_info, technologies) == 15 * sizeof(void*), "field 15");
static_assert(offsetof(struct tmpl_info, cached) == 18 * sizeof(void*), "field 18");
#endif

#endif
