#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cfenv>
#include <csignal>

#include "tests/TestHost.h"
#include "tests/platform.h"

GuardedPages::GuardedPages(std::size_t bytes) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t usable = (bytes + page - 1) / page * page, mapped = usable + 2 * page;
    map = {mmap(nullptr, mapped, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0),
           [=](void* address) { munmap(address, mapped); }};
    begin = static_cast<unsigned char*>(map.get()) + page;
    end = begin + usable;
    require(usable == 0 || mprotect(begin, usable, PROT_READ | PROT_WRITE) == 0, "memory");
}

bool isLoaded(const std::string& library) {
    return dlopen(library.c_str(), RTLD_NOW | RTLD_NOLOAD) != nullptr;
}

double libraryArctangent(double y, double x) {
    static const auto library =
        reinterpret_cast<double (*)(double, double)>(dlsym(RTLD_NEXT, "atan2"));
    return library(y, x);
}

bool trap(int exceptions) { return feenableexcept(exceptions) != -1; }
int trapped() { return fegetexcept(); }

const char* const uncaught = "what\\(\\): +[AF][a-z]+MemQz";

bool isAborted(int status) { return WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT; }
