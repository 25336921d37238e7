// A plugin for QEMU's user-mode emulation that counts the instructions of the emulated program.
#include "instruction_counter.h"

#include <stddef.h>
#include <stdint.h>
#include <unistd.h>

// Of QEMU's plugin interface, whose header is not packaged, what is used here.
typedef uint64_t qemu_plugin_id_t;
struct qemu_plugin_tb;
enum qemu_plugin_op { QEMU_PLUGIN_INLINE_ADD_U64 };
typedef void tb_trans_cb(qemu_plugin_id_t id, struct qemu_plugin_tb *tb);
typedef void syscall_cb(qemu_plugin_id_t id, unsigned int vcpu, int64_t number, uint64_t a1,
                        uint64_t a2, uint64_t a3, uint64_t a4, uint64_t a5, uint64_t a6,
                        uint64_t a7, uint64_t a8);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb *tb);
void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id, tb_trans_cb *cb);
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb *tb, enum qemu_plugin_op op,
                                              void *counter, uint64_t amount);
void qemu_plugin_register_vcpu_syscall_cb(qemu_plugin_id_t id, syscall_cb *cb);

// The version of the interface and the entry, which QEMU looks up by name.
extern int qemu_plugin_version;
int qemu_plugin_version = 1;
int qemu_plugin_install(qemu_plugin_id_t id, const void *info, int argc, char **argv);

// The emulated program is of one thread.
static uint64_t executed;

static void on_translated_block(qemu_plugin_id_t id, struct qemu_plugin_tb *tb) {
  (void)id;
  qemu_plugin_register_vcpu_tb_exec_inline(tb, QEMU_PLUGIN_INLINE_ADD_U64, &executed,
                                           qemu_plugin_tb_n_insns(tb));
}

// The descriptors of the emulated program are those of its emulator.
static void on_syscall(qemu_plugin_id_t id, unsigned int vcpu, int64_t number, uint64_t a1,
                       uint64_t a2, uint64_t a3, uint64_t a4, uint64_t a5, uint64_t a6, uint64_t a7,
                       uint64_t a8) {
  (void)id, (void)vcpu, (void)a2, (void)a3, (void)a4, (void)a5, (void)a6, (void)a7, (void)a8;
  if (number != kReadInstructionCounter) return;
  // A write that fails shows in the program as nothing to read.
  if (write((int)a1, &executed, sizeof executed) < 0) return;
}

int qemu_plugin_install(qemu_plugin_id_t id, const void *info, int argc, char **argv) {
  (void)info, (void)argc, (void)argv;
  qemu_plugin_register_vcpu_tb_trans_cb(id, on_translated_block);
  qemu_plugin_register_vcpu_syscall_cb(id, on_syscall);
  return 0;
}
