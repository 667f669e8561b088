/* Status codes of the interface.
 *
 * Every entry point returns a 32-bit status: 0 is success, anything else one of the codes below. The numbers are the
 * framework's and never change. STS_STATUS_LIST names each code once; expand it to build tables of names.
 */
#ifndef STSPI_STS_STATUS_H
#define STSPI_STS_STATUS_H

/* X(name, number, meaning) for every code except success, in ascending order. */
#define STS_STATUS_LIST(X)                                                                  \
    X(STS_E_INVALID_PARAMETER, 2060001, "a required argument, handle or object is missing") \
    X(STS_E_VERSION, 2060008, "the framework's API version is too old")                     \
    X(STS_E_NOT_CLAIMED, 2060009, "the server name is not one of this plug-in's")           \
    X(STS_E_NO_MORE_ENTRIES, 2060013, "the end of a list")                                  \
    X(STS_E_NOT_SUPPORTED, 2060016, "the operation or control command is not supported")    \
    X(STS_E_SYSTEM, 2060017, "a file-system call failed, or a simulated mount failed")      \
    X(STS_E_NOT_FOUND, 2060022, "the named server, LSU or property source does not exist")  \
    X(STS_E_INTERNAL, 2060026, "the server object could not be built")                      \
    X(STS_E_ALREADY_MOUNTED, 2061024, "mount outcome: already mounted")                     \
    X(STS_E_MOUNT_MODE_MISMATCH, 2061025, "mount outcome: mounted in another mode")         \
    X(STS_E_MAX_READ_MOUNTS_EXCEEDED, 2061026, "mount outcome: too many read mounts")       \
    X(STS_E_MAX_WRITE_MOUNTS_EXCEEDED, 2061027, "mount outcome: too many write mounts")     \
    X(STS_E_MOUNT_POINT_USED, 2061028, "mount outcome: the mount point is in use")          \
    X(STS_E_MOUNT_FAILED, 2061029, "mount outcome: failed")                                 \
    X(STS_E_INVALID_FILESYS, 2061030, "mount outcome: invalid file system")                 \
    X(STS_E_NO_SERVER, 2061034, "no object of that name on the server, or no server behind the handle")

#define STS_STATUS_ENUMERATOR(name, number, meaning) name = number,
enum { STS_STATUS_LIST(STS_STATUS_ENUMERATOR) };
#undef STS_STATUS_ENUMERATOR

#endif
