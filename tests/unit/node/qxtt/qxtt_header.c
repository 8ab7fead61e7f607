/* The interface as C sees it: the header compiles alone, and the records have the given layouts. */
#include "qxtt/qxtt.h"

#define FIELD(record, field, index) \
    _Static_assert(offsetof(struct record, field) == (index) * sizeof(void*), #record "." #field)

_Static_assert(sizeof(struct qxtt_options) == 120, "options");
FIELD(pkg_info, name, 0);
FIELD(pkg_info, version, 1);
FIELD(pkg_info, architecture, 3);
FIELD(pkg_info, summary, 4);
FIELD(pkg_info, description, 5);
FIELD(tmpl_info, name, 0);
FIELD(tmpl_info, os_name, 1);
FIELD(tmpl_info, architecture, 3);
FIELD(tmpl_info, config_path, 4);
FIELD(tmpl_info, summary, 5);
FIELD(tmpl_info, description, 6);
FIELD(tmpl_info, base_packages, 7);
FIELD(tmpl_info, late_base_packages, 8);
FIELD(tmpl_info, packages, 9);
FIELD(tmpl_info, technologies, 15);
FIELD(tmpl_info, cached, 18);
FIELD(packageListEntry, name, 0);
FIELD(packageListEntry, architecture, 1);
FIELD(packageListEntry, version, 2);
FIELD(packageListEntry, summary, 3);
FIELD(templateListEntry, is_os, 1);
FIELD(templateListEntry, info, 2);
