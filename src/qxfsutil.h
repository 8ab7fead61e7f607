/* The template-area checker's C interface: directory indexes, shortcuts and magic links of
 * container private areas, their check and repair, and the container configuration these need.
 *
 * Rules that hold for everything below, unless a comment says otherwise:
 * - The checker keeps module-wide state and works relative to the process's working directory, so
 *   no two of its operations may run at once or nest, in any thread.
 * - Text arguments are NUL-terminated, borrowed for the call and must not be null.
 * - A text or record that a function returns belongs to the caller, who frees it with free().
 * - Messages go to standard error and the log (see set_log); which debug level shows which is said
 *   at the function. Below debug level 2 a result code is the only report.
 * - Memory exhaustion ends the process in xmalloc and xstrdup; elsewhere it is not handled.
 * - Everything here treats index files, links and shortcuts as hostile: they are bounded by the
 * size of the file and by nothing that stands in it.
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

/* A distinct link string (template directory of one or more entries). */
struct poolstr {
    struct poolstr* next;
    char* text;      /* owned */
    uint32_t offset; /* file offset of its link record; 0 until written */
};

/* An entry of the directory. The six numbers stand in the order of a record's 16-byte head. */
struct dent {
    struct dent* next;
    uint8_t type;     /* file-type bits of the mode, shifted right by 12 */
    uint8_t flags;    /* bit 0: last of its bucket, bit 1: last of the file */
    uint16_t namelen; /* without the terminator */
    uint32_t reclen;  /* known on disk only */
    uint32_t ino;     /* inode number * 2, + 1 when it is the template file's; wraps at 32 bits */
    uint32_t link;    /* file offset of the link record, set while writing; 0 without one */
    char* name;       /* owned; made and freed by the checker, never to be freed by itself */
    struct poolstr* poolstr; /* borrowed from the pool; null for an entry without template */
};

/* A hash bucket: its chain in file order. */
struct bucket {
    struct dent* head;
    struct dent* tail;
    uint32_t count;
};

extern QXFSUTIL_API struct dent* dlist;     /* head of the entries, in scan order */
extern QXFSUTIL_API struct dent* dlist_end; /* their tail */
extern QXFSUTIL_API struct poolstr* pool;   /* distinct link strings, newest first */
extern QXFSUTIL_API unsigned tot;           /* number of entries */
extern QXFSUTIL_API unsigned dtot;          /* number of directory entries (type 4) */
extern QXFSUTIL_API unsigned emitted;       /* number of entries written so far */
extern QXFSUTIL_API unsigned prime;         /* number of buckets */
extern QXFSUTIL_API struct bucket* ht;      /* `prime` buckets */
extern QXFSUTIL_API uint32_t* ht_emit;      /* file offset of each bucket's first record */
extern QXFSUTIL_API char
    current_path[4096]; /* working directory when the operation started, for
                         * messages; empty when it cannot be read or is longer */

/* Gives the pool string whose text equals `text` byte by byte, adding a copy at the head of `pool`
 * when there is none. The result belongs to the pool. Constant time. */
QXFSUTIL_API struct poolstr* pool_add(const char* text);

/* Frees entries (those of `dlist` and those in `ht`), both hash arrays and the pool, and resets the
 * pointers to null. Counters stay. */
QXFSUTIL_API void clean_memory(void);

/* Frees an entry with its name, or a pool string with its text. Null is allowed. Taking them off
 * their list first is the caller's duty. Also for those that a caller made with malloc. */
QXFSUTIL_API void free_dent(struct dent* entry);
QXFSUTIL_API void free_poolstr(struct poolstr* string);

/* ---- Directory index: writing --------------------------------------------------------------- */

/* Sets `prime` from `tot`: 1 up to 7 entries, 251 up to 255, 1019 above. */
QXFSUTIL_API void select_prime(void);

/* Allocates `ht` and `ht_emit` for `prime` buckets (which must not be 0) and moves every entry of
 * `dlist`, in order, to the tail of its bucket. `dlist` is empty afterwards. Arrays and entries of
 * an earlier table are freed. */
QXFSUTIL_API void create_hash_table(void);

/* Writes the index: the four steps below, in order, then a flush to the operating system.
 *
 * stream: an empty, seekable file positioned at 0, open for reading and writing; it stays open. On
 * a stream open for writing only the checksum becomes that of empty input (D4 1D 8C D9), of which
 * readers only warn; this is meant.
 *
 * Result: 0; or -1 with errno when a write, seek or truncation failed, or with EFBIG when the index
 * would grow beyond offsets of 32 bits: what the file then holds is no index.
 *
 * Message (level 1): "too long entry '%s'\n" for a record over 4096 bytes, which is written
 * although no check accepts it. */
QXFSUTIL_API int emit_dirindex(FILE* stream);

/* The steps of emit_dirindex, each 0 or -1 with errno.
 *
 * - emit_header writes the header with start and checksum 0, and leaves room for the hash table.
 * - emit_direntries writes the records from the current position on, and the header's start.
 * - emit_hashtable writes `ht_emit` at its place; the stream is behind it then.
 * - emit_checksum reads the file back and writes the checksum. When that fails the error is
 *   reported as "read '%s'" with current_path (werror), the checksum stays 0, the result is 0. */
QXFSUTIL_API int emit_header(FILE* stream);
QXFSUTIL_API int emit_direntries(FILE* stream);
QXFSUTIL_API int emit_hashtable(FILE* stream);
QXFSUTIL_API int emit_checksum(FILE* stream);

/* ---- Directory index: checking -------------------------------------------------------------- */

/* Checks the structure of an index and gathers its entries.
 *
 * - name: of the index, for messages.
 * - base: the whole file in writable memory (a private mapping, see mmap_file). The check zeroes
 *   the checksum and marks records there, so the same bytes cannot be checked twice. Nothing
 *   outside [base, base + size) is touched.
 * - out_path: null, or where to write the index anew without lost entries when there are any. It
 *   must not be the checked file itself, whose mapping would change under the check; a symbolic
 *   link in its last component is refused. The file written carries the checksum of empty input
 *   (see emit_dirindex).
 * - root: null, or the template area's root: each link is then looked up below it.
 *
 * Result: -2 structural fault, nothing was written; -1 the cleaned index could not be created or
 * written; 0 sound, or warnings only; 1 links are lost (and, with out_path, the cleaned index was
 * written).
 *
 * The entries found are in `dlist` (`tot`, `dtot`) when the result is 0, or 1 without out_path,
 * until the next operation drops them. Messages: faults and lost links from debug level 2, warnings
 * and the listing from level 4. */
QXFSUTIL_API int fsck_in_core(const char* name, void* base, size_t size, const char* out_path,
                              const char* root);

/* Compares the first 4 bytes of the MD5 digest of `size` bytes at `base` with the 4 bytes at
 * `expected`: negative, 0 (equal) or positive, as memcmp. The header's checksum field must hold 0.
 */
QXFSUTIL_API int verify_checksum(const void* base, size_t size, const void* expected);

/* Maps a whole file private and writable, so that changes never reach it. Fills `st`; the caller
 * unmaps st->st_size bytes. Null on failure, with "can't open/fstat/mmap dirindex file '%s'"
 * (warning). An empty file cannot be mapped. */
QXFSUTIL_API void* mmap_file(const char* path, struct stat* st);

/* A 32-bit hash of a byte string: lookup2's layout over signed bytes with arithmetic shifts, which
 * differs from the published function on purpose. Nothing in the index format uses it. */
QXFSUTIL_API uint32_t gethash(const char* data, size_t length);

/* The text for an entry type in listings ("d", "-", "l", ...; "?" above 14). Static. */
QXFSUTIL_API const char* type_str(unsigned code);

/* ---- Area scan ------------------------------------------------------------------------------ */

/* What a visited entry is. The two directory bits are added to each entry of such a directory. */
enum qxfs_kind {
    QXFS_KIND_SHORTCUT = 0x01,      /* link text given */
    QXFS_KIND_MAGIC_SYMLINK = 0x02, /* link text given */
    QXFS_KIND_REGULAR = 0x04,       /* plain, or sticky without being a shortcut; no link text */
    QXFS_KIND_SYMLINK = 0x08,       /* its target given */
    QXFS_KIND_DIRECTORY = 0x10,
    QXFS_KIND_OTHER = 0x20,
    QXFS_KIND_INDEX_ONLY = 0x40,      /* stands in the directory's index only; link text given */
    QXFS_KIND_IN_INDEXED_DIR = 0x100, /* the directory has an index file */
    QXFS_KIND_IN_MAGIC_DIR = 0x200    /* the directory's "._qxlnk_." is a symbolic link */
};

/* Called for each entry of a walk. path and link (null when the kind has none) are borrowed for the
 * call; stat is that of the entry, for QXFS_KIND_INDEX_ONLY that of the template file. 0 goes on,
 * any other value ends the walk and becomes its result. */
typedef int (*scan_visitor)(void* cookie, const char* path, const char* link, int kind,
                            const struct stat* st);

/* Directories found by a walk and not visited yet, last found first. */
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

/* Template-backed regular files met while scanning for an index: redundant once it is written. */
extern QXFSUTIL_API struct namelist* rl_info;

/* Walks a private area, the directory `path` itself first, and comes back to where it started.
 * Result: 0; a visitor's or scan_one_dir's non-zero result; -1 "can't chdir to '%s'" on entering,
 * -2 on coming back (both through werror). */
QXFSUTIL_API int scan_private(const char* path, scan_visitor visitor, void* cookie);

/* Walks one directory ("." gives paths without directory part) and pushes its subdirectories to the
 * queue, whose records are the caller's to free.
 * Result: 0; a visitor's non-zero answer; -1 the directory or its index cannot be read; -2 an entry
 * cannot be examined, or memory is short. */
QXFSUTIL_API int scan_one_dir(const char* dir, struct scan_queue* queue, scan_visitor visitor,
                              void* cookie);

/* Fills the entry list from the working directory. mode: bit 0x10 turns magic symlinks into
 * shortcuts on the way.
 *
 * Result: 0 there is content and all of it can be indexed; 3 not; 1 fatal: the directory cannot be
 * read ("Can't open dir '%s'", werror), or a symlink could not be turned. */
QXFSUTIL_API int scan_dir_for_index(const char* root, int mode);

/* The same for one name of the working directory: 0 appended, 3 cannot be indexed, 1 fatal. */
QXFSUTIL_API int scan_one(const char* name, int mode, const char* root);

/* ---- Shortcuts, layout version, inode attributes --------------------------------------------- */

/* Creates a shortcut holding `length` bytes of `text`, with owner, group, permission bits (0xFFF)
 * and times of `st`. create_shortcut writes in place, not through a symbolic link in the last
 * component; make_shortcut writes beside and renames. 0, or 1 with a message (werror). */
QXFSUTIL_API int create_shortcut(const char* path, const char* text, size_t length,
                                 const struct stat* st);
QXFSUTIL_API int make_shortcut(const char* path, const char* text, size_t length,
                               const struct stat* st);

/* Reads at most 4096 bytes of a shortcut's text into `buffer`. Result: its length; -1 cannot be
 * opened, -2 cannot be read, -3 longer than `size`. The text is terminated where there is room. */
QXFSUTIL_API int read_shortcut(const char* path, char* buffer, size_t size);

/* The layout version of a container area: 4, 3, 2, or 0 for another text; -1 for a null path; -3
 * when the VERSION link cannot be read ("Can't read qxfs version link '%s'", werror). */
QXFSUTIL_API int qxfs_version(const char* path);

/* Has the node verify the area of a container ("qxpkg verify area"); gives the shell's status.
 * Level 4 shows the command. */
QXFSUTIL_API int check_template_area_qxfs3(int id);

/* Inode attribute flags as the file system gives them; 0 or -1 with errno. */
QXFSUTIL_API int get_eattr(const char* path, unsigned* flags);
QXFSUTIL_API int set_eattr(const char* path, unsigned flags);

/* 1 when a flag that users can set is set, 0 when not, -1 when flags cannot be read. */
QXFSUTIL_API int check_eattr(const char* path);

/* Copies such flags of a regular file, symbolic link or directory; 0 (also when there is nothing to
 * copy) or -1. */
QXFSUTIL_API int copy_eattr(const char* from, const char* to);

/* Gives `path` owner, group, permission bits and times of `st` without following it; 0 or -1. */
QXFSUTIL_API int set_attr(const char* path, const struct stat* st);

/* Create an entry by the container file system's own request: a regular file, and a copy-on-write
 * directory. `value` is handed on unchanged. 0, or -1 (always so on other file systems). */
QXFSUTIL_API int create_mfile(const char* path, unsigned value, mode_t mode);
QXFSUTIL_API int create_cowdir(const char* path, unsigned value, mode_t mode);

/* 0 when owner, group and permission bits (the sticky bit aside) agree, 1 when not. */
QXFSUTIL_API int compare_stat(const struct stat* a, const struct stat* b);

/* Name lists. Searches give 0 when the name (or the inode pair) is there, else 1; cleaning frees
 * the list and sets it to null. Look-ups cost constant time. */
QXFSUTIL_API void namelist_add(struct namelist** list, const char* name);
QXFSUTIL_API void namelist_add_inode(struct namelist** list, const char* name, ino_t inode,
                                     ino_t template_inode);
QXFSUTIL_API int namelist_search(struct namelist* list, const char* name);
QXFSUTIL_API int namelist_search_inode(struct namelist* list, ino_t inode, ino_t template_inode);
QXFSUTIL_API void namelist_clean(struct namelist** list);

/* ---- Check and repair ------------------------------------------------------------------------ */

/* Path of the container's private area, set by the caller (borrowed) before items are moved. */
extern QXFSUTIL_API const char* priv_dir;

/* Answers of the prompts; QXFS_ANSWER_NONE is also how to ask without a default. */
enum qxfs_answer {
    QXFS_ANSWER_NONE = -1,
    QXFS_ANSWER_IGNORE = 1,
    QXFS_ANSWER_MOVE = 2,
    QXFS_ANSWER_REMOVE = 3,
    QXFS_ANSWER_YES = 3,
    QXFS_ANSWER_NO = 4
};

/* Writes the index of directory `dir` from its contents, removes the files that the index then
 * describes, and marks the directory. The process is left in `dir`. Readers expect the index name
 * "._qxlnk_.".
 * WARNING: on a directory that already has an index, what only that index holds is lost; read it,
 * or repair the directory, first. Result: 0; 1 failure; 3 an entry cannot be indexed, nothing was
 * written. */
QXFSUTIL_API int create_dirindex(const char* dir, const char* index_name, const char* root,
                                 int mode);

/* Checks the index `index_name` of `dir` (see fsck_in_core for out_path, root and its warning). The
 * process is left in `dir`. Result: that of fsck_in_core; 1 also when `dir` cannot be entered, -1
 * also when the index cannot be mapped. */
QXFSUTIL_API int fsck_dirindex(const char* dir, const char* index_name, const char* out_path,
                               const char* root);

/* Copies an index; with both identifiers (else both null) the template cache's is rewritten in its
 * link strings (correct_dirindex). 0 or -1. */
QXFSUTIL_API int clone_dirindex(const char* source, const char* target, const char* old_id,
                                const char* new_id);

/* Writes to `target` the index that lies in memory (as for fsck_in_core), its link strings passed
 * through correct_magic_uuid. 0 or -1; an index that its check refuses gives -1. */
QXFSUTIL_API int correct_dirindex(const char* name, void* base, size_t size, const char* target,
                                  const char* old_id, const char* new_id);

/* Overwrites, in a link of the form "////vc/" old_id ..., the old identifier by the new one of the
 * same length. 1 when changed, else 0. */
QXFSUTIL_API int correct_magic_uuid(char* link, const char* old_id, const char* new_id);

/* The template-backed entries of an index, link string "/" name each, in file order: a
 * null-terminated array of texts, array and texts to be freed by the caller. Null when it cannot be
 * read or is refused. */
QXFSUTIL_API char** read_dirindex(const char* path);
QXFSUTIL_API char** read_in_core(const char* name, void* base, size_t size);

/* Unlinks the files of `rl_info` in order and frees the list. 1 at the first failure ("can't remove
 * '%s/%s'", werror), which leaves the rest of the list. */
QXFSUTIL_API int remove_list(void);

/* Moves priv_dir/subdir/name to priv_dir/lost_files/subdir/name, making directories on the way; and
 * priv_dir/root/<directory of path>/name to priv_dir/root/path.
 * WARNING: a name that holds ".." leaves the area; callers refuse such names.
 * Result: 0 or negative; move_item_to_same ends the process with status 1 when the move fails. A
 * null argument of move_item_to_lost is a violated precondition: status 255. */
QXFSUTIL_API int move_item_to_lost(const char* name, const char* subdir);
QXFSUTIL_API int move_item_to_same(const char* path, const char* name);

/* Ask on standard output and read the answer from standard input. default_answer: what a newline or
 * the end of input means (see qxfs_answer). */
QXFSUTIL_API int ask_proc(const char* question, int default_answer);
QXFSUTIL_API int ask_approve(const char* question, int default_answer);

/* Removes a directory tree, following no link; 0, or -1 with a message on standard error. */
QXFSUTIL_API int remove_dir(const char* path);

/* Makes the missing directories of `path` but its last component, from character `skip` on. 0, or
 * the failing mkdir's result. */
QXFSUTIL_API int mkdir_p(const char* path, mode_t mode, int skip);

/* Copies a regular file's content. WARNING: a source that cannot be opened is not told from an
 * empty one; test it first. */
QXFSUTIL_API int copy_reg_file(const char* source, const char* target);

/* 0 equal content, 1 different, -1 one cannot be read. Null is a violated precondition: status 255.
 */
QXFSUTIL_API int compare_files(const char* a, const char* b);

/* ---- Logging --------------------------------------------------------------------------------- */

extern QXFSUTIL_API int qxfsutil_debug_level;      /* 0 at first: silent but for error() */
extern QXFSUTIL_API char* qxfsutil_debug_logfile;  /* owned copy, or null: no log file */
extern QXFSUTIL_API char* qxfsutil_debug_progname; /* owned copy, or null */

/* Sets the three. Both texts are copied and may be null. */
QXFSUTIL_API void set_log(int level, const char* logfile, const char* progname);

/* Appends a line "time [program ]: message" to the log file, which is opened and closed each time.
 * newline: whether to end it. 0 (also without a log file), -1 cannot be opened, -2 written, -3
 * closed. */
QXFSUTIL_API int write_log(const char* format, va_list arguments, int newline)
    QXFSUTIL_PRINTF(1, 0);

/* Write a message as it stands to standard error and the log. `level` is not tested: callers
 * compare qxfsutil_debug_level first. */
QXFSUTIL_API void debug_print(int level, const char* format, ...) QXFSUTIL_PRINTF(2, 3);
QXFSUTIL_API void vdebug_print(int level, const char* format, va_list arguments)
    QXFSUTIL_PRINTF(2, 0);

/* Above debug level 1: "Warning: " to standard output, "Error: " to standard error, with the
 * system's text for errnum when that is not 0; and the message to the log. errno stays. */
QXFSUTIL_API void warning(int errnum, const char* format, ...) QXFSUTIL_PRINTF(2, 3);
QXFSUTIL_API void werror(int errnum, const char* format, ...) QXFSUTIL_PRINTF(2, 3);

/* At every level: as werror; then the process exits with `status` when that is not 0. The C library
 * has a function of this name and signature: the library binds its own calls to this one. */
QXFSUTIL_API void error(int status, int errnum, const char* format, ...) QXFSUTIL_PRINTF(3, 4);

/* ---- Memory and paths ------------------------------------------------------------------------ */

/* Zeroed memory, or a copy of a text; the process ends with status 1 when there is none. */
QXFSUTIL_API void* xmalloc(size_t size);
QXFSUTIL_API char* xstrdup(const char* text);

/* The texts joined by the separator, as a new text. */
QXFSUTIL_API char* xstring2(char separator, const char* a, const char* b);
QXFSUTIL_API char* xstring3(char separator, const char* a, const char* b, const char* c);

/* Replaces `path` by the end of its chain of symbolic links. A relative target is taken as it
 * stands: relative to the working directory. path: in and out, a buffer of `size` bytes; the result
 * is cut to it. At most 4096 bytes are read. Result: number of links followed, -1 after 100. A link
 * or file that cannot be examined ends the process with status 1. */
QXFSUTIL_API int get_realpath(char* path, size_t size);

/* ---- Container configuration ----------------------------------------------------------------- */

/* These read and write /etc/sysconfig/qx-scripts/<ctid>.conf (at the end of its links), lines of
 * the form NAME="value". A file that cannot be read or written ends the process with status 1. */

/* The value of the last line that begins with `name` (a prefix: a longer name matches as well, and
 * gives what follows the prefix), as a new text; null without one or without a value. */
QXFSUTIL_API char* read_ve_config_param(int ctid, const char* name);

/* Appends a line. 0. */
QXFSUTIL_API int add_ve_config_param(int ctid, const char* name, const char* value);

/* Rewrites the parameter's value in place; 0.
 * WARNING: runs a shell command into which name and value are put unquoted. A value with "#" or "'"
 * breaks it: never pass text of a stranger. When no line has this very name nothing changes. */
QXFSUTIL_API int correct_ve_config_param(int ctid, const char* name, const char* value);

/* Adds the parameter when it is absent, corrects it when it differs (the warning of
 * correct_ve_config_param holds); 0. While only a longer-named parameter exists nothing changes and
 * the result is 0 all the same: callers that must know read the value back. */
QXFSUTIL_API int save_ve_config_param(int ctid, const char* name, const char* value);

/* Appends `item` to a blank-separated list unless the list contains it as a substring (the warning
 * of correct_ve_config_param holds). 0 when it wrote, 1 when the item was there. */
QXFSUTIL_API int update_ve_config(int ctid, const char* name, const char* item);

/* The container's private area (VE_PRIVATE, the first "$VEID" replaced by the ID), as a new text. A
 * configuration without it ends the process with status 1. */
QXFSUTIL_API char* read_ve_private(int ctid);

/* ---- Node queries ---------------------------------------------------------------------------- */

/* 1 when the container file system is mounted from `source`, else 0. WARNING: runs a shell command
 * into which `source` is put between double quotes: never pass text of a stranger. */
QXFSUTIL_API int check_mount_qxfs(const char* source);

/* The container's inode usage by the quota command; -1 when that or its first line fails, -2 its
 * second. */
QXFSUTIL_API int get_inodes_count(int ctid);

/* A new random UUID in its 36-character form, as a new text. */
QXFSUTIL_API char* generate_uuid(void);

#ifdef __cplusplus
}
#endif

#endif
