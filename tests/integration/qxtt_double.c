/* A second template tools library, in C, with one OS template and one application template. The
 * loader puts it in place of the node's own: what a caller needs is this interface, nothing else.
 */
#include <stdlib.h>
#include <string.h>

#include "qxtt/qxtt.h"

/* Results that went out, less those that came back; read by the test. */
QXTT_API int qxtt_double_held = 0;

void qxtt_set_default_options(struct qxtt_options* options) {
    memset(options, 0, sizeof *options);
}

int qxtt_get_pkg_info(const char* os, const char* name, const struct qxtt_options* options,
                      struct pkg_info*** out) {
    (void)os;
    (void)name;
    (void)options;
    *out = calloc(1, sizeof(void*));
    ++qxtt_double_held;
    return 0;
}

void qxtt_clean_pkg_info(struct pkg_info*** out) {
    free(*out);
    *out = NULL;
    --qxtt_double_held;
}

/* The summary is a block of its own, so that a record that is not cleaned is a leak. */
static int fill(struct tmpl_info* info, const char* name) {
    memset(info, 0, sizeof *info);
    info->name = strdup(name);
    info->summary = strdup("of the double");
    ++qxtt_double_held;
    return 0;
}

int qxtt_get_os_tmpl_info(const char* name, const struct qxtt_options* options,
                          struct tmpl_info* info) {
    (void)options;
    return fill(info, name);
}

int qxtt_get_app_tmpl_info(const char* os_or_veid, const char* name,
                           const struct qxtt_options* options, struct tmpl_info* info) {
    (void)os_or_veid;
    (void)options;
    return fill(info, name);
}

void qxtt_clean_tmpl_info(struct tmpl_info* info) {
    free(info->name);
    free(info->summary);
    memset(info, 0, sizeof *info);
    --qxtt_double_held;
}

/* The block is the caller's to free, so it does not count as held. */
int qxtt_get_all_base(char*** names) {
    static const char name[] = ".double";
    char** block = malloc(2 * sizeof *block + sizeof name);
    block[0] = memcpy(block + 2, name, sizeof name);
    block[1] = NULL;
    *names = block;
    return 0;
}

static struct templateListEntry* entry(const char* name, int is_os) {
    struct templateListEntry* made = calloc(1, sizeof *made);
    made->is_os = (uintptr_t)is_os;
    made->info = calloc(1, sizeof *made->info);
    made->info->name = strdup(name);
    return made;
}

int qxtt_get_templates_list(const char* os, const struct qxtt_options* options,
                            struct templateListEntry*** out) {
    (void)options;
    struct templateListEntry** list = calloc(3, sizeof(void*));
    list[0] = entry(os, 1);
    list[1] = entry(".application", 0);
    *out = list;
    ++qxtt_double_held;
    return 0;
}

int qxtt_get_ve_templates_list(int veid, const struct qxtt_options* options,
                               struct templateListEntry*** out) {
    (void)veid;
    return qxtt_get_templates_list(".double", options, out);
}

void qxtt_clean_templates_list(struct templateListEntry*** out) {
    for (struct templateListEntry** each = *out; each != NULL && *each != NULL; ++each) {
        free((*each)->info->name);
        free((*each)->info);
        free(*each);
    }
    free(*out);
    *out = NULL;
    --qxtt_double_held;
}

static int no_packages(struct packageListEntry*** out) {
    *out = calloc(1, sizeof(void*));
    return 0;
}

int qxtt_get_template_pkgs(const char* os, const struct qxtt_options* options,
                           struct packageListEntry*** out) {
    (void)os;
    (void)options;
    return no_packages(out);
}

int qxtt_get_ve_pkgs(int veid, const struct qxtt_options* options, struct packageListEntry*** out) {
    (void)veid;
    (void)options;
    return no_packages(out);
}

int qxtt_get_ve_ostemplate(int veid, char** name, const struct qxtt_options* options) {
    (void)veid;
    (void)options;
    *name = strdup(".double");
    return 0;
}

int qxtt_get_ve_status(int veid, const struct qxtt_options* options) {
    (void)veid;
    (void)options;
    return 1;
}
