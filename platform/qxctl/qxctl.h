/* qxctl.h: C interface of the container control library (libqxctl): how a container's area is laid
 * out on disk.
 *
 * Threads: calls are independent of each other; the library keeps no state. */
#ifndef QXCTL_QXCTL_H
#define QXCTL_QXCTL_H

#ifdef __cplusplus
extern "C" {
#endif

#define QXCTL_API __attribute__((visibility("default")))

/* First layout that keeps a container's files in the directory "fs" of its area. */
#define QXCTL_LAYOUT_FS 4

/* The layout version of a container's area.
 *
 * path: the area's directory (the container's VE_PRIVATE); a symbolic link is followed.
 *
 * The place of the area's VERSION link tells the layout:
 *   4  the area has a directory "fs" (not a link) that holds a symbolic link "VERSION";
 *   3  any other directory: the link, if there is one, is in the area itself.
 * The target of the link tells the version more exactly; the caller reads it.
 *
 * Result: 4 or 3; -1 with errno if path is null (EINVAL), is not a directory (ENOTDIR), or cannot
 * be examined. A caller that only tests "below 4" then looks into the area itself. */
QXCTL_API int qxctl_env_layout_version(const char* path);

#ifdef __cplusplus
}
#endif

#endif
