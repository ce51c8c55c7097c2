// Platform memory, string, thread and time calls (bounded variants of the C library).
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {
void* osa_malloc(uint32_t size);
void osa_free(void* p);

// The bounded calls never write past dst_size bytes of dst. They return 0
// when the whole request was carried out, else a non-zero error, having
// done as much as fits:
//  osa_memcpy_s   copies min(count, dst_size) bytes;
//  osa_memset_s   fills min(count, dst_size) bytes;
//  strncpy_s      copies up to count characters of src, stopping at its NUL,
//                 at most dst_size - 1, and always terminates dst;
//  new_snprintf_s formats at most min(count, dst_size - 1) characters and
//                 always terminates dst; returns the characters written, or
//                 -1 when the text was cut or dst is unusable.
int osa_memcpy_s(void* dst, size_t dst_size, const void* src, size_t count);
int osa_memset_s(void* dst, size_t dst_size, int c, size_t count);
int strncpy_s(char* dst, size_t dst_size, const char* src, size_t count);
int new_snprintf_s(char* dst, size_t dst_size, size_t count, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));
// strcmp ignoring ASCII letter case; null sorts before any text.
int osa_stricmp(const char* a, const char* b);

// Creates a detached thread running entry(arg). Returns a non-zero handle on
// success and 0 on failure. The first three arguments (name, stack size,
// priority) are the platform's; 0 takes its defaults.
uintptr_t osa_pthread_create(const char* name, uint32_t stack_size, uint32_t priority,
                             void* (*entry)(void*), void* arg);
// Sleeps for ms milliseconds.
void osa_sleep(uint32_t ms);
}
