// Host configuration from the environment: the run directory and numeric variables.
#pragma once

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
