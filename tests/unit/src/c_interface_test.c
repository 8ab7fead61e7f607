/* The public header is read by a C compiler, and its names link from C. */
#include "src/qxfsutil.h"

int c_caller_finds_the_interface(void);

int c_caller_finds_the_interface(void) {
    struct dent entry = {0};
    struct stat st;
    const uint32_t hash = gethash("c", 1);
    entry.type = QXFS_KIND_REGULAR;
    set_log(0, NULL, NULL);
    debug_print(4, "%s", "");
    return hash != 0 && entry.namelen == 0 && type_str(4)[0] == 'd' && dlist == NULL &&
           mmap_file("/nonexistent", &st) == NULL;
}
