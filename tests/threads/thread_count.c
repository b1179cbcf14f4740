/* Counts the threads a process starts: a shared object linked ahead of every
 * library, so that its pthread_create is the one their calls find (an
 * object without symbol versions stands in for any version of the name). */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <pthread.h>

static int started;

int pthread_create(pthread_t *thread, const pthread_attr_t *attr, void *(*start)(void *), void *arg) {
    typedef int (*Create)(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *);
    static Create real;
    if (!real) real = (Create)dlsym(RTLD_NEXT, "pthread_create");
    __atomic_add_fetch(&started, 1, __ATOMIC_SEQ_CST);
    return real(thread, attr, start, arg);
}

int qxThreadsStarted(void) { return __atomic_load_n(&started, __ATOMIC_SEQ_CST); }
void qxResetThreadsStarted(void) { __atomic_store_n(&started, 0, __ATOMIC_SEQ_CST); }
