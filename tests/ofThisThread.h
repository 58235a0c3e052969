#pragma once

#include <map>
#include <mutex>
#include <thread>

// An object of each thread's own, for as long as the process lives. Not thread_local: Windows frees
// the memory of such objects before they are destroyed.
template <class Object>
Object& ofThisThread() {
    static std::map<std::thread::id, Object> all;
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    return all[std::this_thread::get_id()];
}
