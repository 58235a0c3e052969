// A plug-in of QEMU, which loads it by -plugin: prints how many instructions the emulated processor
// has run when the program ends. Distributions have no header for it; this is what it takes of the
// interface's version 1, that of QEMU 4.2 to 8.2.

#include <cinttypes>
#include <cstddef>
#include <cstdint>
#include <cstdio>

struct qemu_plugin_tb;  // instructions that are run from the first to the last

extern "C" {
void qemu_plugin_register_vcpu_tb_trans_cb(std::uint64_t id,
                                           void (*translated)(std::uint64_t id, qemu_plugin_tb*));
std::size_t qemu_plugin_tb_n_insns(const qemu_plugin_tb* block);
void qemu_plugin_register_vcpu_tb_exec_inline(qemu_plugin_tb* block, int operation, void* number,
                                              std::uint64_t operand);
void qemu_plugin_register_atexit_cb(std::uint64_t id, void (*ended)(std::uint64_t id, void* data),
                                    void* data);

__attribute__((visibility("default"))) extern const int qemu_plugin_version;
const int qemu_plugin_version = 1;

__attribute__((visibility("default"))) int qemu_plugin_install(std::uint64_t id, const void*, int,
                                                               char**) {
    static std::uint64_t count;
    constexpr int add = 0;
    qemu_plugin_register_vcpu_tb_trans_cb(id, [](std::uint64_t, qemu_plugin_tb* block) {
        qemu_plugin_register_vcpu_tb_exec_inline(block, add, &count, qemu_plugin_tb_n_insns(block));
    });
    qemu_plugin_register_atexit_cb(
        id, [](std::uint64_t, void*) { std::fprintf(stderr, "%" PRIu64 "\n", count); }, nullptr);
    return 0;
}
}
