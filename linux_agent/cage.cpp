#include "linux_agent/cage.h"

#include <grp.h>
#include <linux/capability.h>
#include <pwd.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

namespace zmagent {
namespace {

bool Fails(const std::string& what, std::string* error) {
    *error = "cannot " + what + ": " + std::strerror(errno);
    return false;
}

/// What threads that move bytes between sockets need, and memory, time and chance.
constexpr int kCalls[] = {
    SCMP_SYS(accept),
    SCMP_SYS(accept4),
    SCMP_SYS(brk),
    SCMP_SYS(clock_gettime),
    SCMP_SYS(clock_nanosleep),
    SCMP_SYS(close),
    SCMP_SYS(exit),
    SCMP_SYS(exit_group),
    SCMP_SYS(fcntl),
    SCMP_SYS(futex),
    SCMP_SYS(getpeername),
    SCMP_SYS(getpid),
    SCMP_SYS(getrandom),
    SCMP_SYS(getsockname),
    SCMP_SYS(getsockopt),
    SCMP_SYS(gettid),
    SCMP_SYS(gettimeofday),
    SCMP_SYS(madvise),
    SCMP_SYS(mremap),
    SCMP_SYS(munmap),
    SCMP_SYS(nanosleep),
    SCMP_SYS(poll),
    SCMP_SYS(ppoll),
    SCMP_SYS(read),
    SCMP_SYS(recvfrom),
    SCMP_SYS(recvmsg),
    SCMP_SYS(restart_syscall),
    SCMP_SYS(rseq),
    SCMP_SYS(rt_sigaction),
    SCMP_SYS(rt_sigprocmask),
    SCMP_SYS(rt_sigreturn),
    SCMP_SYS(sched_getaffinity),
    SCMP_SYS(sched_yield),
    SCMP_SYS(sendmsg),
    SCMP_SYS(sendto),
    SCMP_SYS(set_robust_list),
    SCMP_SYS(setsockopt),
    SCMP_SYS(shutdown),
    SCMP_SYS(sigaltstack),
    SCMP_SYS(socketpair),
    SCMP_SYS(time),
    SCMP_SYS(write),
    SCMP_SYS(writev),
};

/// What libraries try now and then, and can do without: they are told that it cannot be had. With
/// clone3 it could not be seen what is made: a thread is then made by clone.
struct RefusedCall {
    int call;
    int error;
};

constexpr RefusedCall kRefused[] = {
    {SCMP_SYS(access), EACCES}, {SCMP_SYS(clone3), ENOSYS},     {SCMP_SYS(fstat), EACCES},
    {SCMP_SYS(ioctl), EACCES},  {SCMP_SYS(newfstatat), EACCES}, {SCMP_SYS(open), EACCES},
    {SCMP_SYS(openat), EACCES}, {SCMP_SYS(prctl), EPERM},       {SCMP_SYS(readlink), EACCES},
    {SCMP_SYS(socket), EACCES}, {SCMP_SYS(sysinfo), EPERM},     {SCMP_SYS(uname), EPERM},
};

/// The filter that is being made; the first failure is kept.
class Filter {
  public:
    Filter() : rules(seccomp_init(SCMP_ACT_KILL_PROCESS)), failed(rules == nullptr ? -ENOMEM : 0) {}
    ~Filter() { seccomp_release(rules); }
    Filter(const Filter&) = delete;
    Filter& operator=(const Filter&) = delete;

    template <class... Conditions>
    void Add(uint32_t action, int call, Conditions... conditions) {
        constexpr unsigned kCount = sizeof...(conditions);
        if (failed == 0) failed = seccomp_rule_add(rules, action, call, kCount, conditions...);
    }

    /// 0, or the number of the error.
    int Load() {
        if (failed == 0) failed = seccomp_load(rules);
        return -failed;
    }

  private:
    const scmp_filter_ctx rules;
    int failed;
};

bool FilterCalls(std::string* error) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    (void)kCalls;  // a sanitizer reads files and looks at its own memory at any time
    (void)kRefused;
    (void)error;
    return true;
#else
    Filter filter;
    for (const int call : kCalls) filter.Add(SCMP_ACT_ALLOW, call);
    for (const RefusedCall& row : kRefused) {
        filter.Add(SCMP_ACT_ERRNO(static_cast<uint16_t>(row.error)), row.call);
    }
    // Threads, no processes; memory, no code; signals to itself alone.
    filter.Add(SCMP_ACT_ALLOW, SCMP_SYS(clone),
               SCMP_A0(SCMP_CMP_MASKED_EQ, CLONE_THREAD, CLONE_THREAD));
    for (const int call : {SCMP_SYS(mmap), SCMP_SYS(mprotect)}) {
        filter.Add(SCMP_ACT_ALLOW, call, SCMP_A2(SCMP_CMP_MASKED_EQ, PROT_EXEC, 0));
    }
    filter.Add(SCMP_ACT_ALLOW, SCMP_SYS(tgkill),
               SCMP_A0(SCMP_CMP_EQ, static_cast<scmp_datum_t>(getpid()), 0));
    errno = filter.Load();
    return errno == 0 || Fails("filter system calls", error);
#endif
}

/// All that the process could ever get back.
bool DropCapabilities(std::string* error) {
    for (int capability = 0; capability <= CAP_LAST_CAP; ++capability) {
        if (prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) != 0 && errno != EINVAL) {
            return Fails("drop capabilities", error);
        }
    }
    return true;
}

/// Has a folder that nobody but root can put anything into for the whole file system.
bool LeaveFiles(const std::string& folder, std::string* error) {
    const int made = mkdir(folder.c_str(), 0755);
    if (made != 0 && errno != EEXIST) return Fails("make " + folder, error);
    struct stat found = {};
    if (chdir(folder.c_str()) != 0 || stat(".", &found) != 0) return Fails("use " + folder, error);
    if (found.st_uid != 0 || (found.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        *error = folder + " is not root's alone";
        return false;
    }
    return (chroot(".") == 0 && chdir("/") == 0) || Fails("leave the file system", error);
}

bool BecomeUser(const std::string& name, const std::string& folder, std::string* error) {
    const passwd* account = getpwnam(name.c_str());
    if (account == nullptr) {
        *error = "there is no user \"" + name + "\"";
        return false;
    }
    const uid_t user = account->pw_uid;
    const gid_t group = account->pw_gid;
    if (user == 0) {
        *error = "the user of the process that talks to the network is root";
        return false;
    }
    if (!LeaveFiles(folder, error)) return false;
    if (!DropCapabilities(error)) return false;
    if (setgroups(0, nullptr) != 0 || setresgid(group, group, group) != 0 ||
        setresuid(user, user, user) != 0) {
        return Fails("become " + name, error);
    }
    return true;
}

}  // namespace

bool EnterCage(const Config& config, std::string* error) {
    if (geteuid() == 0 && !BecomeUser(config.user, config.folder, error)) return false;
    const rlimit none = {0, 0};
    std::signal(SIGXFSZ, SIG_IGN);  // what it says may go to a file, which then stays as it is
    if (setrlimit(RLIMIT_CORE, &none) != 0 || setrlimit(RLIMIT_FSIZE, &none) != 0 ||
        prctl(PR_SET_DUMPABLE, 0, 0, 0, 0) != 0 || prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0) != 0) {
        return Fails("limit the process", error);
    }
    return FilterCalls(error);
}

}  // namespace zmagent
