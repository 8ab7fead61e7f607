/* qxtt.h: C interface of the template tools library (libqxtt), which describes the node's KR
 * templates, their packages, and the packages of the containers made from them.
 *
 * Results: 0 is success. Any other value is a failure, one of QXTT_E_*; the caller's pointer or
 * record is then unchanged and there is nothing to release.
 * Ownership: results that have a clean function are released with it; every other result is one
 * block (entries, arrays and texts together), released with one free().
 * Names of OS templates may be given with or without their leading "."; results have it.
 * Threads: calls are independent of each other; the library keeps no state between calls. */
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

/* Bits of the mask. A field whose bit is not set stays null. Names are always filled, and so are
 * the architectures and versions of package listings. Bits that do not apply to a record, and bits
 * without a name here, are ignored. */
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
#define QXTT_E_ARGUMENT 1       /* a null argument, or an invalid package name */
#define QXTT_E_MEMORY 2         /* out of memory */
#define QXTT_E_NO_TEMPLATE 3    /* the node has no such template, or the name is invalid */
#define QXTT_E_BAD_TEMPLATE 4   /* the template's metadata is broken or cannot be read */
#define QXTT_E_NO_CONTAINER 5   /* the node has no such container */
#define QXTT_E_BAD_CONTAINER 6  /* its configuration is broken, or names no KR OS template */
#define QXTT_E_NO_ROOT 7        /* the container has no private area yet */
#define QXTT_E_BAD_DATABASE 8   /* the package database is broken or cannot be read */
#define QXTT_E_BAD_REPOSITORY 9 /* a local repository is missing, broken or cannot be read */
#define QXTT_E_ENGINE 10        /* the program that reads package databases cannot be started */
#define QXTT_E_INTERNAL 11      /* anything else */

/* Options of every query. Words without an offset above are ignored.
 *
 * QUIET: if not 0, the reason of a failure is written to standard error.
 * LOCAL: has no effect: the library always answers from the node's own data, without network.
 * VE_TEMPLATES, VE_PACKAGES: callers set them in queries for a container; they have no effect. */
struct qxtt_options {
    uint32_t words[QXTT_OPTIONS_SIZE / sizeof(uint32_t)];
};

/* A package of an OS template's repositories. A null pointer means: not known. */
struct pkg_info {
    char* name;         /* 0 */
    char* version;      /* 1 */
    char* repository;   /* 2: where it was found; for the library */
    char* architecture; /* 3 */
    char* summary;      /* 4 */
    char** description; /* 5: lines, ended by a null pointer */
};

/* A template. A null pointer means: not known, or not selected by the mask. Lists of texts end with
 * a null pointer. */
struct tmpl_info {
    char* name;                /* 0: with its leading "." */
    char* os_name;             /* 1: OS template that an application template belongs to */
    char* packaging;           /* 2: "rpm" or "deb"; for the library */
    char* architecture;        /* 3 */
    char* config_path;         /* 4: folder of the template's metadata */
    char* summary;             /* 5 */
    char** description;        /* 6: lines */
    char** base_packages;      /* 7: first packages of a cache; never null with mask 0x700 */
    char** late_base_packages; /* 8: packages that a cache gets after these; as field 7 */
    char** packages;           /* 9: packages that the template adds; as field 7 */
    void* reserved10[5];       /* 10 to 14 */
    char** technologies;       /* 15 */
    void* reserved16[2];       /* 16, 17 */
    char* cached;              /* 18: "yes" if the template's metadata says so */
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

/* Fills all 120 bytes; the memory need not be initialised. */
QXTT_API void qxtt_set_default_options(struct qxtt_options* options);

/* Packages named `name` of the OS template `os`. Looks into its local repositories, then into its
 * cache, then into the containers of that OS, until the package is found. *out: an array that ends
 * with null; the first element is the newest package that fits the template's architecture; a null
 * first element with code 0 means not found. A source that cannot be read is skipped; its code is
 * the result if no other source has the package. Release with qxtt_clean_pkg_info: it takes the
 * address of the array's variable, which may hold null, and sets the variable to null. */
QXTT_API int qxtt_get_pkg_info(const char* os, const char* name, const struct qxtt_options* options,
                               struct pkg_info*** out);
QXTT_API void qxtt_clean_pkg_info(struct pkg_info*** out);

/* Reads one OS template into the caller's record; release with qxtt_clean_tmpl_info. */
QXTT_API int qxtt_get_os_tmpl_info(const char* name, const struct qxtt_options* options,
                                   struct tmpl_info* info);

/* Reads one application template, as above. `os_or_veid`: the name of its OS template, or, if it
 * has only digits, the number of a container, whose OS template is meant. */
QXTT_API int qxtt_get_app_tmpl_info(const char* os_or_veid, const char* name,
                                    const struct qxtt_options* options, struct tmpl_info* info);

/* Releases the record's fields and sets the record to zero; a zero record is allowed. */
QXTT_API void qxtt_clean_tmpl_info(struct tmpl_info* info);

/* Names of all OS templates of the node, sorted; the array ends with null and is one block.
 * Templates with broken metadata are left out; a query for one gives QXTT_E_BAD_TEMPLATE. */
QXTT_API int qxtt_get_all_base(char*** names);

/* An OS template and, sorted by name, its application templates; the array ends with null.
 * Application templates with broken metadata are left out. */
QXTT_API int qxtt_get_templates_list(const char* os, const struct qxtt_options* options,
                                     struct templateListEntry*** out);

/* The templates of a container: its OS template and the application templates installed there, in
 * the same order. If a template's metadata is broken or missing, only its name is filled. */
QXTT_API int qxtt_get_ve_templates_list(int veid, const struct qxtt_options* options,
                                        struct templateListEntry*** out);

/* Releases a list of templates and sets the array's variable to null; the variable may hold null.
 */
QXTT_API void qxtt_clean_templates_list(struct templateListEntry*** out);

/* Packages in the local repositories of an OS template, sorted by name; the array ends with null
 * and is one block. Of several versions for one architecture only the newest; of deb repositories
 * only packages for the template's architecture. Repositories that need the network are skipped.
 * Summaries are filled if the mask has QXTT_MASK_SUMMARY_BIT or a bit of QXTT_MASK_PACKAGE_LISTS.
 */
QXTT_API int qxtt_get_template_pkgs(const char* os, const struct qxtt_options* options,
                                    struct packageListEntry*** out);

/* Packages in a container's own rpm or dpkg database, sorted by name; the array ends with null, is
 * one block, and is never null on success. The OS template's packaging says which database; if its
 * metadata is missing or broken, the one that exists. Without a database there are no packages. */
QXTT_API int qxtt_get_ve_pkgs(int veid, const struct qxtt_options* options,
                              struct packageListEntry*** out);

/* Name of a container's OS template, with its "."; release with free(). */
QXTT_API int qxtt_get_ve_ostemplate(int veid, char** name, const struct qxtt_options* options);

/* Status of a container: > 0 ready, its templates are up to date; 0 it exists but has no private
 * area yet; < 0 (a negated QXTT_E_*) it is unknown or its configuration cannot be read. */
QXTT_API int qxtt_get_ve_status(int veid, const struct qxtt_options* options);

#ifdef __cplusplus
}
static_assert(sizeof(struct qxtt_options) == QXTT_OPTIONS_SIZE, "callers fix the size");
static_assert(offsetof(struct tmpl_info, technologies) == 15 * sizeof(void*), "field 15");
static_assert(offsetof(struct tmpl_info, cached) == 18 * sizeof(void*), "field 18");
#endif

#endif
