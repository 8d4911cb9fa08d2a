// A System V semaphore: a set with one member, shared by the processes that know its key.
#pragma once

#include <stddef.h>
#include <sys/ipc.h>
#include <sys/sem.h>

namespace quill {

class SysvSemaphore {
public:
    explicit SysvSemaphore(int id) : id_(id) {}
    static SysvSemaphore with_key(key_t key, int flags) { return SysvSemaphore(semget(key, 1, flags)); }

    int id() const { return id_; }
    explicit operator bool() const { return id_ != -1; }

    // Performs all steps at once, or none. Returns false with errno if it fails.
    template <size_t n>
    [[nodiscard]] bool operate(sembuf (&&steps)[n]) const {
        return semop(id_, steps, n) == 0;
    }
    [[nodiscard]] bool set(int value) const {
        union {
            int val;
            struct semid_ds *buf;
            unsigned short *array;
        } argument;
        argument.val = value;
        return semctl(id_, 0, SETVAL, argument) == 0;
    }
    void remove() const { (void)semctl(id_, 0, IPC_RMID); }

private:
    int id_;
};

}  // namespace quill
