// A plugin for QEMU's user-mode emulator (its plugin interface of version 1): counts the
// instructions that a program executes and writes the number to a file at its end.
//   qemu-arm -plugin libcount_instructions.so,out=FILE PROGRAM
// Blocks that were translated count when they are entered; two threads in the same block at once
// may lose one.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

// QEMU finds the plugin's functions, and the plugin QEMU's, by name. These are the declarations of
// qemu-plugin.h that are used here: Debian does not package it.
extern "C"
{
    using qemu_plugin_id_t = std::uint64_t;
    struct qemu_plugin_tb;
    struct qemu_info_t;

    enum qemu_plugin_op
    {
        QEMU_PLUGIN_INLINE_ADD_U64,
    };

    void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id,
                                               void (*cb)(qemu_plugin_id_t, qemu_plugin_tb*));
    std::size_t qemu_plugin_tb_n_insns(const qemu_plugin_tb* tb);
    void qemu_plugin_register_vcpu_tb_exec_inline(qemu_plugin_tb* tb, qemu_plugin_op op, void* ptr,
                                                  std::uint64_t imm);
    void qemu_plugin_register_atexit_cb(qemu_plugin_id_t id, void (*cb)(qemu_plugin_id_t, void*),
                                        void* userdata);

    [[gnu::visibility("default")]] extern const int qemu_plugin_version;
    [[gnu::visibility("default")]] int
    qemu_plugin_install(qemu_plugin_id_t id, const qemu_info_t* info, int argc, char** argv);
}

namespace
{

std::uint64_t g_uExecuted = 0;
char g_szOut[4096];

void CountBlock(qemu_plugin_id_t, qemu_plugin_tb* pBlock)
{
    qemu_plugin_register_vcpu_tb_exec_inline(pBlock, QEMU_PLUGIN_INLINE_ADD_U64, &g_uExecuted,
                                             qemu_plugin_tb_n_insns(pBlock));
}

void WriteCount(qemu_plugin_id_t, void*)
{
    if (std::FILE* const pFile = std::fopen(g_szOut, "w"))
    {
        std::fprintf(pFile, "%llu\n", static_cast<unsigned long long>(g_uExecuted));
        std::fclose(pFile);
    }
}

} // namespace

const int qemu_plugin_version = 1;

int qemu_plugin_install(qemu_plugin_id_t id, const qemu_info_t*, int argc, char** argv)
{
    constexpr char kOut[] = "out=";
    constexpr std::size_t kPrefix = sizeof(kOut) - 1;
    if (argc != 1 || std::strncmp(argv[0], kOut, kPrefix) != 0 ||
        std::strlen(argv[0] + kPrefix) >= sizeof(g_szOut))
    {
        return -1;
    }
    std::strcpy(g_szOut, argv[0] + kPrefix);
    qemu_plugin_register_vcpu_tb_trans_cb(id, CountBlock);
    qemu_plugin_register_atexit_cb(id, WriteCount, nullptr);
    return 0;
}
