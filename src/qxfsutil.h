/* The template-area checker's C interface: directory indexes, shortcuts and magic links of
 * container private areas, their check and repair, and the container configuration these need.
 *
 * Rules for everything below, unless a comment says otherwise:
 * - The checker keeps global state and works relative to the process's working directory. Two of
 *   its operations must not run at the same time or call each other, in any thread.
 * - Text arguments are NUL-terminated, are only read during the call and must not be null.
 * - The caller owns a text or record that a function returns, and frees it with free().
 * - Messages go to standard error and the log (see set_log); the comment of a function says at
 * which debug level. Below debug level 2 the result code is the only report.
 * - If memory is short, xmalloc and xstrdup end the process; nothing else handles it.
 * - Index files, links and shortcuts are untrusted input: every offset and length in them is
 * checked against the size of the file.
 */
#ifndef QXFSUTIL_H
#define QXFSUTIL_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/types.h>

/* Marks what the library exports; everything else in it is hidden. */
#define QXFSUTIL_API __attribute__((visibility("default")))
#define QXFSUTIL_PRINTF(text, first) __attribute__((format(printf, text, first)))

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Directory index: the in-memory model --------------------------------------------------- */

/* A link string: the template directory of one or more entries. Each string exists once. */
struct poolstr {
    struct poolstr* next;
    char* text;      /* owned */
    uint32_t offset; /* file offset of its link record; 0 until it is written */
};

/* An entry of the directory. The six numbers are in the order of a record's 16-byte header. */
struct dent {
    struct dent* next;
    uint8_t type;     /* file-type bits of the mode, shifted right by 12 */
    uint8_t flags;    /* bit 0: last of its bucket, bit 1: last of the file */
    uint16_t namelen; /* without the terminator */
    uint32_t reclen;  /* used only in files */
    uint32_t ino;     /* inode number * 2, + 1 if it is the template file's; wraps at 32 bits */
    uint32_t link;    /* file offset of the link record, set while writing; 0: none */
    char* name;       /* owned; free it only with the entry (free_dent) */
    struct poolstr* poolstr; /* belongs to the pool; null for an entry without template */
};

/* A hash bucket: its chain in file order. */
struct bucket {
    struct dent* head;
    struct dent* tail;
    uint32_t count;
};

extern QXFSUTIL_API struct dent* dlist;      /* head of the entries, in scan order */
extern QXFSUTIL_API struct dent* dlist_end;  /* their tail */
extern QXFSUTIL_API struct poolstr* pool;    /* distinct link strings, newest first */
extern QXFSUTIL_API unsigned tot;            /* number of entries */
extern QXFSUTIL_API unsigned dtot;           /* number of directory entries (type 4) */
extern QXFSUTIL_API unsigned emitted;        /* number of entries written so far */
extern QXFSUTIL_API unsigned prime;          /* number of buckets */
extern QXFSUTIL_API struct bucket* ht;       /* `prime` buckets */
extern QXFSUTIL_API uint32_t* ht_emit;       /* file offset of each bucket's first record */
extern QXFSUTIL_API char current_path[4096]; /* working directory when the operation started, for
                                              * messages; empty if it cannot be read or is longer */

/* Returns the pool string with exactly the bytes of `text`; if there is none, adds a copy at the
 * head of `pool`. The result belongs to the pool. Constant time. */
QXFSUTIL_API struct poolstr* pool_add(const char* text);

/* Frees all entries (in `dlist` and in `ht`), both hash arrays and the pool, and sets the pointers
 * to null. The counters keep their values. */
QXFSUTIL_API void clean_memory(void);

/* Frees an entry with its name, or a pool string with its text; the caller may have made them with
 * malloc. Null is allowed. The caller must first remove them from their list. */
QXFSUTIL_API void free_dent(struct dent* entry);
QXFSUTIL_API void free_poolstr(struct poolstr* string);

/* ---- Directory index: writing --------------------------------------------------------------- */

/* Sets `prime` from `tot`: 1 up to 7 entries, 251 up to 255, 1019 above. */
QXFSUTIL_API void select_prime(void);

/* Allocates `ht` and `ht_emit` for `prime` buckets (`prime` must not be 0) and moves the entries of
 * `dlist`, in order, to the end of their buckets. `dlist` is empty afterwards. Frees the arrays and
 * entries of an earlier table. */
QXFSUTIL_API void create_hash_table(void);

/* Writes the index: the four steps below, in order, then a flush to the operating system.
 *
 * stream: an empty, seekable file at position 0, open for reading and writing; it stays open. If it
 * is open for writing only, the checksum is that of empty input (D4 1D 8C D9); readers only warn
 * about it. This is intended.
 *
 * Result: 0; -1 with errno if a write, seek or truncation failed, or with EFBIG if the index needs
 * offsets of more than 32 bits. After a failure the file holds no index.
 *
 * Message (level 1): "too long entry '%s'\n" for a record over 4096 bytes. It is written all the
 * same, but no check accepts it. */
QXFSUTIL_API int emit_dirindex(FILE* stream);

/* The steps of emit_dirindex. Each returns 0, or -1 with errno.
 *
 * - emit_header writes the header with start and checksum 0, and leaves room for the hash table.
 * - emit_direntries writes the records from the current position on, then the header's start.
 * - emit_hashtable writes `ht_emit` at its place; the stream is then at the end of the table.
 * - emit_checksum reads the file back and writes the checksum. If that fails, it reports "read
 * '%s'" with current_path (werror), leaves the checksum 0 and returns 0. */
QXFSUTIL_API int emit_header(FILE* stream);
QXFSUTIL_API int emit_direntries(FILE* stream);
QXFSUTIL_API int emit_hashtable(FILE* stream);
QXFSUTIL_API int emit_checksum(FILE* stream);

/* ---- Directory index: checking -------------------------------------------------------------- */

/* Checks the structure of an index and collects its entries.
 *
 * - name: name of the index, for messages.
 * - base: the whole file in writable memory (a private mapping, see mmap_file). The check sets the
 *   checksum to 0 and marks records there, so the same bytes cannot be checked twice. Nothing
 *   outside [base, base + size) is read or written.
 * - out_path: null, or where to write the index without its lost entries, if there are any. It must
 *   not be the checked file itself: its mapping would change during the check. A symbolic link in
 *   the last component is refused. The written file has the checksum of empty input (see
 *   emit_dirindex).
 * - root: null, or the root of the template area: each link is then looked up below it.
 *
 * Result: -2 structural error, nothing was written; -1 the cleaned index could not be created or
 * written; 0 no error, or only warnings; 1 links are lost (and, with out_path, the cleaned index
 * was written).
 *
 * If the result is 0, or 1 without out_path, the entries are in `dlist` (`tot`, `dtot`) until the
 * next operation. Messages: errors and lost links from debug level 2, warnings and the listing from
 * level 4. */
QXFSUTIL_API int fsck_in_core(const char* name, void* base, size_t size, const char* out_path,
                              const char* root);

/* Compares the first 4 bytes of the MD5 digest of `size` bytes at `base` with the 4 bytes at
 * `expected`: negative, 0 (equal) or positive, as memcmp. The header's checksum field must hold 0.
 */
QXFSUTIL_API int verify_checksum(const void* base, size_t size, const void* expected);

/* Reads a whole regular file into a private, writable mapping: changes never reach the file, and
 * the file may change afterwards. Fills `st`; the caller unmaps st->st_size bytes. Null on failure,
 * with "can't open/fstat/mmap dirindex file '%s'" (warning). An empty file cannot be mapped. */
QXFSUTIL_API void* mmap_file(const char* path, struct stat* st);

/* A 32-bit hash of a byte string: like lookup2, but over signed bytes and with arithmetic shifts.
 * The difference is intended. The index format does not use it. */
QXFSUTIL_API uint32_t gethash(const char* data, size_t length);

/* The text for an entry type in listings ("d", "-", "l", ...; "?" above 14); a static text. */
QXFSUTIL_API const char* type_str(unsigned code);

/* ---- Area scan ------------------------------------------------------------------------------ */

/* The kind of a visited entry. The last two bits say what its directory is like. */
enum qxfs_kind {
    QXFS_KIND_SHORTCUT = 0x01,      /* link text given */
    QXFS_KIND_MAGIC_SYMLINK = 0x02, /* link text given */
    QXFS_KIND_REGULAR = 0x04,       /* plain, or sticky without being a shortcut; no link text */
    QXFS_KIND_SYMLINK = 0x08,       /* its target given */
    QXFS_KIND_DIRECTORY = 0x10,
    QXFS_KIND_OTHER = 0x20,
    QXFS_KIND_INDEX_ONLY = 0x40,      /* only in the directory's index; link text given */
    QXFS_KIND_IN_INDEXED_DIR = 0x100, /* the directory has an index file */
    QXFS_KIND_IN_MAGIC_DIR = 0x200    /* the directory's "._qxlnk_." is a symbolic link */
};

/* Called for each entry of a walk. path and link (null if the kind has none) are valid during the
 * call only; st describes the entry, or for QXFS_KIND_INDEX_ONLY the template file. Returns 0 to go
 * on; any other value ends the walk and becomes its result. */
typedef int (*scan_visitor)(void* cookie, const char* path, const char* link, int kind,
                            const struct stat* st);

/* Directories that a walk has found but not visited yet, the last one first. */
struct scan_dir {
    struct scan_dir* next;
    char* path; /* owned */
};
struct scan_queue {
    struct scan_dir* head;
    int count;
};

/* A list of names, optionally each with a pair of inode numbers. */
struct namelist {
    struct namelist* next;
    char* name; /* owned */
    ino_t inode;
    ino_t template_inode;
};

/* Template-backed regular files found while scanning for an index; once it is written, they are
 * redundant. */
extern QXFSUTIL_API struct namelist* rl_info;

/* Walks a private area, beginning with the directory `path`, and returns to the working directory
 * that it started from. Result: 0; a non-zero result of the visitor or scan_one_dir; with "can't
 * chdir to '%s'" (werror) -1 on entering, -2 on returning. */
QXFSUTIL_API int scan_private(const char* path, scan_visitor visitor, void* cookie);

/* Visits one directory ("." gives paths without a directory part) and adds its subdirectories to
 * the queue; the caller frees the queue's records. Result: 0; the visitor's non-zero result; -1 the
 * directory or its index cannot be read; -2 an entry cannot be examined, or memory is short. */
QXFSUTIL_API int scan_one_dir(const char* dir, struct scan_queue* queue, scan_visitor visitor,
                              void* cookie);

/* Fills the entry list from the working directory. mode: bit 0x10 replaces magic symlinks by
 * shortcuts.
 *
 * Result: 0 the directory is not empty and everything in it can be indexed; 3 it is empty or
 * something cannot be indexed; 1 failure: the directory cannot be read ("Can't open dir '%s'",
 * werror), or a symlink could not be replaced. */
QXFSUTIL_API int scan_dir_for_index(const char* root, int mode);

/* The same for one name in the working directory: 0 appended, 3 cannot be indexed, 1 failure. */
QXFSUTIL_API int scan_one(const char* name, int mode, const char* root);

/* ---- Shortcuts, layout version, inode attributes --------------------------------------------- */

/* Creates a shortcut with `length` bytes of `text` and the owner, group, permission bits (0xFFF)
 * and times of `st`. create_shortcut writes the file in place and does not follow a symbolic link
 * in the last component; make_shortcut writes a new file and renames it. 0, or 1 with a message
 * (werror). */
QXFSUTIL_API int create_shortcut(const char* path, const char* text, size_t length,
                                 const struct stat* st);
QXFSUTIL_API int make_shortcut(const char* path, const char* text, size_t length,
                               const struct stat* st);

/* Reads at most 4096 bytes of a shortcut's text into `buffer`. Result: the length; -1 cannot be
 * opened, -2 cannot be read, -3 longer than `size`. The text ends with NUL if there is room for it.
 */
QXFSUTIL_API int read_shortcut(const char* path, char* buffer, size_t size);

/* The layout version of a container area: 4, 3, 2; 0 for any other text; -1 for a null path; -3 if
 * the VERSION link cannot be read ("Can't read qxfs version link '%s'", werror). */
QXFSUTIL_API int qxfs_version(const char* path);

/* Runs "qxpkg verify area" for a container; returns the shell's status. Level 4 shows the command.
 */
QXFSUTIL_API int check_template_area_qxfs3(int id);

/* Get or set the inode attribute flags of the file system; 0, or -1 with errno. */
QXFSUTIL_API int get_eattr(const char* path, unsigned* flags);
QXFSUTIL_API int set_eattr(const char* path, unsigned flags);

/* 1 if a flag that users can change is set, 0 if not, -1 if the flags cannot be read. */
QXFSUTIL_API int check_eattr(const char* path);

/* Copies these flags of a regular file, symbolic link or directory; 0 (also if there is nothing to
 * copy) or -1. */
QXFSUTIL_API int copy_eattr(const char* from, const char* to);

/* Gives `path` the owner, group, permission bits and times of `st`; does not follow a symbolic
 * link. 0 or -1. */
QXFSUTIL_API int set_attr(const char* path, const struct stat* st);

/* Create a regular file, or a copy-on-write directory, with a request of the container file system.
 * `value` is passed on unchanged. 0, or -1 (always -1 on other file systems). */
QXFSUTIL_API int create_mfile(const char* path, unsigned value, mode_t mode);
QXFSUTIL_API int create_cowdir(const char* path, unsigned value, mode_t mode);

/* 0 if owner, group and permission bits (except the sticky bit) are equal, else 1. */
QXFSUTIL_API int compare_stat(const struct stat* a, const struct stat* b);

/* Name lists. Adding copies the name. A search returns 0 if the name (or the inode pair) is in the
 * list, else 1, in constant time. namelist_clean frees the list and sets it to null. */
QXFSUTIL_API void namelist_add(struct namelist** list, const char* name);
QXFSUTIL_API void namelist_add_inode(struct namelist** list, const char* name, ino_t inode,
                                     ino_t template_inode);
QXFSUTIL_API int namelist_search(struct namelist* list, const char* name);
QXFSUTIL_API int namelist_search_inode(struct namelist* list, ino_t inode, ino_t template_inode);
QXFSUTIL_API void namelist_clean(struct namelist** list);

/* ---- Check and repair ------------------------------------------------------------------------ */

/* Path of the container's private area. The caller sets it before items are moved, and owns it. */
extern QXFSUTIL_API const char* priv_dir;

/* Answers of the prompts. QXFS_ANSWER_NONE as default_answer means: no default. */
enum qxfs_answer {
    QXFS_ANSWER_NONE = -1,
    QXFS_ANSWER_IGNORE = 1,
    QXFS_ANSWER_MOVE = 2,
    QXFS_ANSWER_REMOVE = 3,
    QXFS_ANSWER_YES = 3,
    QXFS_ANSWER_NO = 4
};

/* Writes the index of directory `dir` from its contents, removes the files that the index now
 * describes, and marks the directory. The working directory is `dir` afterwards. Readers expect the
 * index name "._qxlnk_.".
 * WARNING: if the directory already has an index, entries that are only in that index are lost;
 * read it, or repair the directory, first. Result: 0; 1 failure; 3 an entry cannot be indexed,
 * nothing was written. */
QXFSUTIL_API int create_dirindex(const char* dir, const char* index_name, const char* root,
                                 int mode);

/* Checks the index `index_name` of `dir`; out_path and root as in fsck_in_core. The working
 * directory is `dir` afterwards. Result: that of fsck_in_core; also 1 if `dir` cannot be entered,
 * and -1 if the index cannot be mapped. */
QXFSUTIL_API int fsck_dirindex(const char* dir, const char* index_name, const char* out_path,
                               const char* root);

/* Copies an index. If both identifiers are given (else both are null), the template cache's
 * identifier is replaced in its link strings (correct_dirindex). A target that is there and is no
 * regular file is a failure. 0 or -1. */
QXFSUTIL_API int clone_dirindex(const char* source, const char* target, const char* old_id,
                                const char* new_id);

/* Checks the index in memory (base, size: see fsck_in_core) and writes it to `target`, with
 * correct_magic_uuid applied to its link strings. 0, or -1, also if the check fails. */
QXFSUTIL_API int correct_dirindex(const char* name, void* base, size_t size, const char* target,
                                  const char* old_id, const char* new_id);

/* Replaces, in a link of the form "////vc/" old_id ..., the old identifier by the new one, which
 * must have the same length. 1 if changed, else 0. */
QXFSUTIL_API int correct_magic_uuid(char* link, const char* old_id, const char* new_id);

/* The template-backed entries of an index in file order, each as link string "/" name: an array of
 * texts that ends with null. The caller frees the texts and the array. Null if the index cannot be
 * read or its check fails. read_in_core takes base and size as fsck_in_core does. */
QXFSUTIL_API char** read_dirindex(const char* path);
QXFSUTIL_API char** read_in_core(const char* name, void* base, size_t size);

/* Unlinks the files of `rl_info` in order and frees the list. 0; 1 at the first failure ("can't
 * remove '%s/%s'", werror): the rest of the list then remains. */
QXFSUTIL_API int remove_list(void);

/* move_item_to_lost moves priv_dir/subdir/name to priv_dir/lost_files/subdir/name and makes missing
 * directories; move_item_to_same moves priv_dir/root/<directory of path>/name to
 * priv_dir/root/path. WARNING: a name with ".." leads out of the area; callers must refuse such
 * names. Result: 0 or negative. move_item_to_same ends the process with status 1 if the move fails;
 * move_item_to_lost ends it with status 255 if an argument is null. */
QXFSUTIL_API int move_item_to_lost(const char* name, const char* subdir);
QXFSUTIL_API int move_item_to_same(const char* path, const char* name);

/* Ask on standard output and read the answer from standard input. default_answer: the qxfs_answer
 * that an empty line or the end of input means. Result: a qxfs_answer. */
QXFSUTIL_API int ask_proc(const char* question, int default_answer);
QXFSUTIL_API int ask_approve(const char* question, int default_answer);

/* Removes a directory tree and follows no link; 0, or -1 with a message on standard error. */
QXFSUTIL_API int remove_dir(const char* path);

/* Makes the missing parent directories of `path`; the first `skip` characters of it are not looked
 * at. 0, or the result of the mkdir that failed. */
QXFSUTIL_API int mkdir_p(const char* path, mode_t mode, int skip);

/* Copies a regular file's content: 0; -1 the source, or -2 the target, is no regular file or fails.
 * WARNING: if the source cannot be opened, the result is the same as for an empty source; test it
 * first. */
QXFSUTIL_API int copy_reg_file(const char* source, const char* target);

/* 0 equal content, 1 different, -1 one cannot be read or is no regular file. A null argument ends
 * the process, status 255.
 */
QXFSUTIL_API int compare_files(const char* a, const char* b);

/* ---- Logging --------------------------------------------------------------------------------- */

extern QXFSUTIL_API int qxfsutil_debug_level;      /* initially 0: only error() prints */
extern QXFSUTIL_API char* qxfsutil_debug_logfile;  /* owned copy, or null: no log file */
extern QXFSUTIL_API char* qxfsutil_debug_progname; /* owned copy, or null */

/* Sets the three. Both texts are copied and may be null. */
QXFSUTIL_API void set_log(int level, const char* logfile, const char* progname);

/* Appends "time [program ]: message" to the log file, which is opened and closed each time.
 * newline: not 0 to end the line. Result: 0 (also without a log file); the file cannot be opened
 * (-1), written
 * (-2) or closed (-3). */
QXFSUTIL_API int write_log(const char* format, va_list arguments, int newline)
    QXFSUTIL_PRINTF(1, 0);

/* Write a message unchanged to standard error and the log. They do not look at `level`: the caller
 * compares it with qxfsutil_debug_level first. */
QXFSUTIL_API void debug_print(int level, const char* format, ...) QXFSUTIL_PRINTF(2, 3);
QXFSUTIL_API void vdebug_print(int level, const char* format, va_list arguments)
    QXFSUTIL_PRINTF(2, 0);

/* Above debug level 1: warning prints "Warning: " and the message to standard output, werror
 * "Error: " and the message to standard error, with the system's text for errnum if it is not 0.
 * Both also write the message to the log and keep errno. */
QXFSUTIL_API void warning(int errnum, const char* format, ...) QXFSUTIL_PRINTF(2, 3);
QXFSUTIL_API void werror(int errnum, const char* format, ...) QXFSUTIL_PRINTF(2, 3);

/* Does the same as werror at every level; then ends the process with `status` if that is not 0. The
 * C library has a function of the same name and signature; this library always calls its own. */
QXFSUTIL_API void error(int status, int errnum, const char* format, ...) QXFSUTIL_PRINTF(3, 4);

/* ---- Memory and paths ------------------------------------------------------------------------ */

/* Zeroed memory; a copy of a text. If memory is short, the process ends with status 1. */
QXFSUTIL_API void* xmalloc(size_t size);
QXFSUTIL_API char* xstrdup(const char* text);

/* The texts joined by the separator, as a new text. */
QXFSUTIL_API char* xstring2(char separator, const char* a, const char* b);
QXFSUTIL_API char* xstring3(char separator, const char* a, const char* b, const char* c);

/* Replaces `path` by the end of its chain of symbolic links. A relative target is taken as relative
 * to the working directory. path: in and out, a buffer of `size` bytes; a longer result is cut off.
 * At most 4096 bytes are read. Result: the number of links followed; -1 after 100. If a link or
 * file cannot be examined, the process ends with status 1. */
QXFSUTIL_API int get_realpath(char* path, size_t size);

/* ---- Container configuration ----------------------------------------------------------------- */

/* These read and write /etc/sysconfig/qx-scripts/<ctid>.conf (symbolic links are followed), lines
 * of the form NAME="value". If the file cannot be read or written, the process ends with status 1.
 */

/* The value of the last line that begins with `name`, as a new text; null if there is no such line
 * or it has no value. `name` is a prefix: a longer name matches, too, and the result is what
 * follows the prefix. */
QXFSUTIL_API char* read_ve_config_param(int ctid, const char* name);

/* Appends the line name="value"; returns 0. */
QXFSUTIL_API int add_ve_config_param(int ctid, const char* name, const char* value);

/* Changes the value in the parameter's line; returns 0. Without a line of exactly this name nothing
 * changes.
 * WARNING: runs a shell command that contains name and value without quotes. A value with "#" or
 * "'" breaks it: never pass untrusted text. */
QXFSUTIL_API int correct_ve_config_param(int ctid, const char* name, const char* value);

/* Adds the parameter if it is missing, corrects it if it differs; returns 0. The warning of
 * correct_ve_config_param applies. If only a parameter with a longer name exists, nothing changes
 * and the result is 0, too: a caller that must be sure reads the value back. */
QXFSUTIL_API int save_ve_config_param(int ctid, const char* name, const char* value);

/* Appends `item` to a blank-separated list unless the list's text contains it already. The warning
 * of correct_ve_config_param applies. 0 if it wrote, 1 if the item was there. */
QXFSUTIL_API int update_ve_config(int ctid, const char* name, const char* item);

/* The container's private area (VE_PRIVATE, with the first "$VEID" replaced by the ID), as a new
 * text. If the configuration does not set it, the process ends with status 1. */
QXFSUTIL_API char* read_ve_private(int ctid);

/* ---- Node queries ---------------------------------------------------------------------------- */

/* 1 if the container file system is mounted from `source`, else 0. WARNING: runs a shell command
 * that contains `source` between double quotes: never pass untrusted text. */
QXFSUTIL_API int check_mount_qxfs(const char* source);

/* The number of inodes that the container uses, from the quota command; -1 if the command or its
 * first line cannot be read, -2 if the second line cannot. */
QXFSUTIL_API int get_inodes_count(int ctid);

/* A new random UUID in its 36-character form, as a new text. */
QXFSUTIL_API char* generate_uuid(void);

#ifdef __cplusplus
}
#endif

#endif
