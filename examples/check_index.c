/* A user of the checker: checks the index of one directory and prints what the index holds. */
#include <qxfsutil.h>
#include <stdio.h>
#include <stdlib.h>

static void print_entries(void) {
    for (const struct dent* entry = dlist; entry != NULL; entry = entry->next) {
        printf("%s %s", type_str(entry->type), entry->name);
        if (entry->poolstr != NULL) {
            printf(" -> %s/%s", entry->poolstr->text, entry->name);
        }
        putchar('\n');
    }
}

int main(int argc, char** argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: %s DIRECTORY TEMPLATE-ROOT\n", argv[0]);
        return 2;
    }
    set_log(2, NULL, argv[0]); /* without a level the checker's results are codes only */
    switch (fsck_dirindex(argv[1], "._qxlnk_.", NULL, argv[2])) {
        case 0:
            print_entries();
            puts("sound");
            return EXIT_SUCCESS;
        case 1:
            print_entries();
            puts("template files are gone");
            return EXIT_FAILURE;
        default:
            puts("no index that can be trusted");
            return EXIT_FAILURE;
    }
}
