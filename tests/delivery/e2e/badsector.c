/* Preloaded, makes a disk of one with a sector that cannot be read any more. BAD_SECTOR is INODE:OFFSET of the file
 * that it is a part of. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

static int is_bad(int file, off_t begin, size_t size)
{
    unsigned long inode = 0;
    long long sector = 0;
    struct stat status;
    char const *const bad = getenv("BAD_SECTOR");
    return bad != NULL && sscanf(bad, "%lu:%lld", &inode, &sector) == 2 && fstat(file, &status) == 0
        && status.st_ino == inode && begin < sector + 512 && sector < begin + (off_t)size;
}

static ssize_t failed(void)
{
    errno = EIO;
    return -1;
}

ssize_t pread64(int file, void *buffer, size_t size, off64_t offset)
{
    if (is_bad(file, offset, size))
        return failed();
    return ((ssize_t(*)(int, void *, size_t, off64_t))dlsym(RTLD_NEXT, "pread64"))(file, buffer, size, offset);
}

ssize_t read(int file, void *buffer, size_t size)
{
    if (is_bad(file, lseek(file, 0, SEEK_CUR), size))
        return failed();
    return ((ssize_t(*)(int, void *, size_t))dlsym(RTLD_NEXT, "read"))(file, buffer, size);
}
