// Host configuration from the environment (the run directory, numeric variables) and the
// durable writes of files in the run directory.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

// The run directory (TANDREL_RUN_DIR, default "run" in the working
// directory), created with mode 0700 where it is missing. Null when it cannot
// be used: not a directory, or owned by another user.
const char* host_run_dir(void);

// Writes "<run dir>/<name>" into out. False when the run directory is
// unusable, name is empty or holds a '/', or the path does not fit.
bool host_run_path(const char* name, char* out, size_t out_size);

// The decimal value of environment variable `name` when it is set and lies
// in [min, max]; false (traced) when it is set but not such a number, false
// (silently) when it is not set.
bool host_env_number(const char* name, int64_t min, int64_t max, int64_t* out);

// Writes all n bytes at offset at of fd, taking interrupted writes up again;
// false (errno set) when the file takes no more.
bool host_write_all(int fd, const void* data, size_t n, off_t at);

// Replaces "<run dir>/<name>" with the n bytes of data, durably: written and
// synced under another name, renamed over the old file, the directory
// synced. A crash leaves the old file or the new one, never a mix. False
// (errno set) when the file could not be written; the old one then stays.
bool host_replace_run_file(const char* name, const void* data, size_t n, mode_t mode);

// Makes renames in the run directory durable.
void host_sync_run_dir(void);
