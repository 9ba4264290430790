// A plugin of the emulator qemu-arm: prints "instructions N" at each call of roadEnds(), N being what the calling
// thread has executed since it called roadBegins(). tests/speed/instructions builds it for this machine.
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

// The emulator's plugin interface, version 1, as far as it is used here: Debian 12 has no package with its header.
extern "C" {
struct qemu_plugin_tb;
struct qemu_plugin_insn;
using BlockTranslated = void (*)(uint64_t plugin, qemu_plugin_tb* block);
using BlockExecuted = void (*)(unsigned thread, void* data);

void qemu_plugin_register_vcpu_tb_trans_cb(uint64_t plugin, BlockTranslated call);
void qemu_plugin_register_vcpu_tb_exec_cb(qemu_plugin_tb* block, BlockExecuted call, int flags, void* data);
size_t qemu_plugin_tb_n_insns(const qemu_plugin_tb* block);
qemu_plugin_insn* qemu_plugin_tb_get_insn(const qemu_plugin_tb* block, size_t index);
const char* qemu_plugin_insn_symbol(const qemu_plugin_insn* instruction);

__attribute__((visibility("default"))) extern const int qemu_plugin_version = 1;
__attribute__((visibility("default"))) int qemu_plugin_install(uint64_t plugin, const void* info, int count,
                                                               char** arguments);
}

namespace {

constexpr int kNoRegisters = 0; // of the emulated processor are read by the calls
constexpr unsigned kThreads = 4096;
std::atomic<uint64_t> executed[kThreads]; // each written by its thread alone

void blockRuns(unsigned thread, void* instructions)
{
    executed[thread % kThreads] += reinterpret_cast<uintptr_t>(instructions);
}

void roadBegins(unsigned thread, void*)
{
    executed[thread % kThreads] = 0;
}

void roadEnds(unsigned thread, void*)
{
    printf("instructions %llu\n", static_cast<unsigned long long>(executed[thread % kThreads]));
    fflush(stdout);
}

// A block is a straight run of instructions: who enters it executes all of them.
void translated(uint64_t, qemu_plugin_tb* block)
{
    const char* symbol = qemu_plugin_insn_symbol(qemu_plugin_tb_get_insn(block, 0));
    if (symbol != nullptr && strcmp(symbol, "roadBegins") == 0)
        qemu_plugin_register_vcpu_tb_exec_cb(block, roadBegins, kNoRegisters, nullptr);
    else if (symbol != nullptr && strcmp(symbol, "roadEnds") == 0)
        qemu_plugin_register_vcpu_tb_exec_cb(block, roadEnds, kNoRegisters, nullptr);
    else
        qemu_plugin_register_vcpu_tb_exec_cb(block, blockRuns, kNoRegisters,
                                             reinterpret_cast<void*>(qemu_plugin_tb_n_insns(block)));
}

} // namespace

int qemu_plugin_install(uint64_t plugin, const void*, int, char**)
{
    qemu_plugin_register_vcpu_tb_trans_cb(plugin, translated);
    return 0;
}
