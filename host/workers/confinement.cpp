#include "host/workers/confinement.h"

#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/landlock.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>

#include "host/descriptor.h"

namespace kelvo::host {
namespace {

// What the kernel calls these since 5.19 and 6.2; older headers have no names for them.
constexpr std::uint64_t kRefer = std::uint64_t{1} << 13U;
constexpr std::uint64_t kTruncate = std::uint64_t{1} << 14U;

// What replacing a file takes: a new file beside it, written, renamed over it, cleared.
constexpr std::uint64_t kReplacing =
    LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_REMOVE_FILE | LANDLOCK_ACCESS_FS_MAKE_REG;

std::uint64_t everyChange(long version) {
  std::uint64_t rights = kReplacing | LANDLOCK_ACCESS_FS_REMOVE_DIR | LANDLOCK_ACCESS_FS_MAKE_CHAR |
                         LANDLOCK_ACCESS_FS_MAKE_DIR | LANDLOCK_ACCESS_FS_MAKE_SOCK |
                         LANDLOCK_ACCESS_FS_MAKE_FIFO | LANDLOCK_ACCESS_FS_MAKE_BLOCK |
                         LANDLOCK_ACCESS_FS_MAKE_SYM | LANDLOCK_ACCESS_FS_EXECUTE;
  if (version >= 2) rights |= kRefer;
  if (version >= 3) rights |= kTruncate;
  return rights;
}

bool confineFiles(const std::vector<std::string>& writable) {
  const long version =
      ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
  if (version < 1) return false;
  landlock_ruleset_attr attributes{};
  attributes.handled_access_fs = everyChange(version);
  const Descriptor rules(
      static_cast<int>(::syscall(SYS_landlock_create_ruleset, &attributes, sizeof attributes, 0)));
  if (!rules) return false;
  for (const std::string& directory : writable) {
    const Descriptor place(::open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    // Nothing can be written to a directory that is not there.
    if (!place) continue;
    landlock_path_beneath_attr rule{};
    rule.allowed_access = kReplacing | (version >= 3 ? kTruncate : 0);
    rule.parent_fd = place.number();
    if (::syscall(SYS_landlock_add_rule, rules.number(), LANDLOCK_RULE_PATH_BENEATH, &rule, 0) != 0)
      return false;
  }
  return ::syscall(SYS_landlock_restrict_self, rules.number(), 0) == 0;
}

#if defined(__x86_64__)
constexpr std::uint32_t kArchitecture = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr std::uint32_t kArchitecture = AUDIT_ARCH_AARCH64;
#else
constexpr std::uint32_t kArchitecture = 0;
#endif

// Refused with EPERM.
constexpr auto kRefused = std::to_array<std::uint32_t>({
    // the network, and other processes by way of sockets
    SYS_socket,
    SYS_socketpair,
    SYS_connect,
    SYS_bind,
    SYS_listen,
    SYS_accept,
    SYS_accept4,
    // new processes and programs
    SYS_execve,
    SYS_execveat,
#ifdef SYS_fork
    SYS_fork,
#endif
#ifdef SYS_vfork
    SYS_vfork,
#endif
    // other processes
    SYS_ptrace,
    SYS_process_vm_readv,
    SYS_process_vm_writev,
    SYS_pidfd_getfd,
    SYS_kill,
    SYS_tkill,
    SYS_pidfd_send_signal,
    SYS_rt_sigqueueinfo,
    SYS_rt_tgsigqueueinfo,
    // files by other ways than names and descriptors
    SYS_open_by_handle_at,
    SYS_io_uring_setup,
    SYS_io_uring_enter,
    SYS_io_uring_register,
    // the system
    SYS_mount,
    SYS_umount2,
    SYS_pivot_root,
    SYS_chroot,
    SYS_unshare,
    SYS_setns,
    SYS_open_tree,
    SYS_move_mount,
    SYS_fsopen,
    SYS_bpf,
    SYS_perf_event_open,
    SYS_userfaultfd,
    SYS_keyctl,
    SYS_add_key,
    SYS_request_key,
    SYS_init_module,
    SYS_finit_module,
    SYS_delete_module,
    SYS_kexec_load,
    SYS_reboot,
    SYS_swapon,
    SYS_swapoff,
    SYS_acct,
    SYS_settimeofday,
    SYS_clock_settime,
    SYS_sethostname,
    SYS_setdomainname,
    SYS_quotactl,
    SYS_personality,
});

sock_filter load(std::size_t offset) {
  return BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(offset));
}

sock_filter answer(std::uint32_t action) { return BPF_STMT(BPF_RET | BPF_K, action); }

// Skips the next `past` statements unless the loaded value is `value`.
sock_filter unlessEqual(std::uint32_t value, std::uint8_t past) {
  return BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, value, 0, past);
}

constexpr std::uint32_t kRefuse = SECCOMP_RET_ERRNO | EPERM;

std::vector<sock_filter> callFilter() {
  std::vector<sock_filter> filter = {
      load(offsetof(seccomp_data, arch)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, kArchitecture, 1, 0),
      answer(SECCOMP_RET_KILL_PROCESS),
      load(offsetof(seccomp_data, nr)),
  };
#if defined(__x86_64__)
  // The same calls by their other numbers.
  filter.push_back(BPF_JUMP(BPF_JMP | BPF_JGE | BPF_K, 0x40000000, 0, 1));
  filter.push_back(answer(kRefuse));
#endif
  for (const std::uint32_t call : kRefused) {
    filter.push_back(unlessEqual(call, 1));
    filter.push_back(answer(kRefuse));
  }
  // A thread signals another of its own process, as abort() does; nobody else.
  filter.push_back(unlessEqual(SYS_tgkill, 4));
  filter.push_back(load(offsetof(seccomp_data, args)));
  filter.push_back(
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(::getpid()), 1, 0));
  filter.push_back(answer(kRefuse));
  filter.push_back(answer(SECCOMP_RET_ALLOW));
  // A filter cannot see its arguments; the C library falls back on clone.
  filter.push_back(unlessEqual(SYS_clone3, 1));
  filter.push_back(answer(SECCOMP_RET_ERRNO | ENOSYS));
  // Threads are made with it, and processes: the flags tell which.
  filter.push_back(unlessEqual(SYS_clone, 3));
  filter.push_back(load(offsetof(seccomp_data, args)));
  filter.push_back(BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, CLONE_THREAD, 1, 0));
  filter.push_back(answer(kRefuse));
  filter.push_back(answer(SECCOMP_RET_ALLOW));
  return filter;
}

bool confineCalls() {
  if (kArchitecture == 0) return false;
  std::vector<sock_filter> filter = callFilter();
  sock_fprog program{};
  program.len = static_cast<unsigned short>(filter.size());
  program.filter = filter.data();
  return ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

}  // namespace

std::vector<std::string> confineProcess(const std::vector<std::string>& writable) {
  if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return {"gaining rights"};
  std::vector<std::string> lacking;
  if (!confineFiles(writable)) lacking.emplace_back("writing to other directories");
// The leak checker looks at the process from a process of its own.
#ifndef __SANITIZE_ADDRESS__
  if (!confineCalls()) lacking.emplace_back("opening sockets and starting processes");
#endif
  return lacking;
}

}  // namespace kelvo::host
