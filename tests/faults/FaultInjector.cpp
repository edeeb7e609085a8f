// fault_injector OPTION... -- PROGRAM ARGUMENT...: runs a program and counts its system calls that matter to files. It
// makes one of them fail, or sends a signal to the program at one of them. `scripts/faults` and
// `scripts/produce-faults` call it.
//
//   --root FOLDER         counts the calls on paths below this folder; may be repeated
//   --trace FILE          lists the counted calls: number, kind, name, path, result, thread, "!" if it was changed
//   --only NAME PATH      N counts only the calls with this name and path, in this and in all other options
//   --children            counts the calls of forked children too
//   --victim              sends the signal to the process that makes the call, not to the program
//   --keep FOLDER COPY    makes COPY, the folder as it would be after a loss of power: as it was at the start, but each
//                         file as it was at its last flush, and all files as at a flush of the file system; repeatable
//   --fail N ERRNO        call N returns this error and isn't executed (a close is, as the kernel does it)
//   --from N ERRNO        the same for call N and for all later calls of its kind and name
//   --kill N SIGNAL       sends the signal before call N
//   --kill-after N SIGNAL sends the signal after call N
//   --memory              counts only the calls that allocate memory
//   --drop-override       removes the right of root to ignore the permissions of files
//
// ptrace stops the program at each of its system calls. This works with every build, static or not, and reaches calls
// inside of libraries. Without --children, the injector doesn't trace the processes that the program starts. It always
// waits for their end.
// Its exit status is the program's status, or 128 plus the number of the signal that ended the program.

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace {

constexpr int none = -1;

struct CallRow {
    long number;
    const char* name;
    const char* kind;
    int path = none;    ///< the argument with the path to check; a folder's descriptor is the argument before it
    int file = none;    ///< the argument with a descriptor
    bool isAt = false;  ///< the path is relative to a folder's descriptor
};

constexpr CallRow callRows[] = {
    {SYS_open, "open", "read", 0},
    {SYS_openat, "open", "read", 1, none, true},
    {SYS_creat, "open", "change", 0},
    {SYS_rename, "rename", "change", 1},
    {SYS_renameat, "rename", "change", 3, none, true},
    {SYS_renameat2, "rename", "change", 3, none, true},
    {SYS_link, "link", "change", 1},
    {SYS_linkat, "link", "change", 3, none, true},
    {SYS_symlink, "link", "change", 1},
    {SYS_symlinkat, "link", "change", 2, none, true},
    {SYS_unlink, "unlink", "change", 0},
    {SYS_unlinkat, "unlink", "change", 1, none, true},
    {SYS_rmdir, "unlink", "change", 0},
    {SYS_chmod, "chmod", "change", 0},
    {SYS_fchmodat, "chmod", "change", 1, none, true},
    {SYS_fchmod, "chmod", "change", none, 0},
    {SYS_mkdir, "mkdir", "change", 0},
    {SYS_mkdirat, "mkdir", "change", 1, none, true},
    {SYS_truncate, "truncate", "change", 0},
    {SYS_ftruncate, "truncate", "change", none, 0},
    {SYS_fallocate, "fallocate", "change", none, 0},
    {SYS_write, "write", "change", none, 0},
    {SYS_pwrite64, "write", "change", none, 0},
    {SYS_writev, "write", "change", none, 0},
    {SYS_pwritev, "write", "change", none, 0},
    {SYS_sendfile, "write", "change", none, 0},
    {SYS_copy_file_range, "write", "change", none, 2},
    {SYS_fsync, "sync", "change", none, 0},
    {SYS_fdatasync, "sync", "change", none, 0},
    {SYS_syncfs, "syncfs", "change", none, 0},
    {SYS_close, "close", "change", none, 0},
    {SYS_flock, "lock", "change", none, 0},
    {SYS_read, "read", "read", none, 0},
    {SYS_pread64, "read", "read", none, 0},
    {SYS_readv, "read", "read", none, 0},
    {SYS_preadv, "read", "read", none, 0},
    {SYS_getdents64, "list", "read", none, 0},
    {SYS_fstat, "stat", "read", none, 0},
    {SYS_stat, "stat", "read", 0},
    {SYS_lstat, "stat", "read", 0},
    {SYS_newfstatat, "stat", "read", 1, none, true},
    {SYS_statx, "stat", "read", 1, none, true},
    {SYS_access, "access", "read", 0},
    {SYS_faccessat, "access", "read", 1, none, true},
    {SYS_faccessat2, "access", "read", 1, none, true},
    {SYS_readlink, "readlink", "read", 0},
    {SYS_readlinkat, "readlink", "read", 1, none, true},
    {SYS_mmap, "mmap", "read", none, 4},
    {SYS_brk, "memory", "memory"},
    {SYS_mremap, "memory", "memory"},
    {SYS_memfd_create, "memfd", "change"},
    {SYS_pipe2, "pipe", "spawn"},
    {SYS_clone, "fork", "spawn"},
    {SYS_clone3, "fork", "spawn"},
    {SYS_fork, "fork", "spawn"},
    {SYS_vfork, "fork", "spawn"},
    {SYS_poll, "poll", "spawn"},
    {SYS_ppoll, "poll", "spawn"},
    {SYS_wait4, "wait", "spawn"},
    {SYS_waitid, "wait", "spawn"},
};

enum class Meddling { nothing, fail, failFrom, killBefore, killAfter };

struct Options {
    std::vector<std::string> roots;
    std::vector<std::pair<std::string, std::string>> kept;  ///< folders and their copies
    std::string trace;
    std::string onlyName;  ///< empty: all calls
    std::string onlyPath;
    Meddling meddling = Meddling::nothing;
    long number = 0;
    int value = 0;  ///< the error or the signal
    bool countsMemory = false;
    bool dropOverride = false;
    bool tracesChildren = false;
    bool signalsCaller = false;
    char** program = nullptr;
};

/// A counted call, from its start to its end.
struct Call {
    long number;
    const char* name;
    const char* kind;
    std::string path = {};
    std::optional<long> forcedResult = {};
    bool isDelayed = false;  ///< the call starts again after the signal
    bool killsAfter = false;
    std::optional<unsigned long> refusedEnd = {};  ///< the end of the heap that a failing brk requested
};

bool readOptions(int count, char** words, Options& options) {
    const std::map<std::string_view, Meddling> meddlings = {{"--fail", Meddling::fail},
                                                            {"--from", Meddling::failFrom},
                                                            {"--kill", Meddling::killBefore},
                                                            {"--kill-after", Meddling::killAfter}};
    for (int i = 1; i < count; ++i) {
        const std::string_view word = words[i];
        const int left = count - i - 1;
        if (word == "--" && left >= 1) {
            options.program = words + i + 1;
            return true;
        }
        if (word == "--drop-override") {
            options.dropOverride = true;
        } else if (word == "--memory") {
            options.countsMemory = true;
        } else if (word == "--children") {
            options.tracesChildren = true;
        } else if (word == "--victim") {
            options.signalsCaller = true;
        } else if (word == "--only" && left >= 2) {
            options.onlyName = words[++i];
            options.onlyPath = words[++i];
        } else if (word == "--keep" && left >= 2) {
            options.kept.emplace_back(words[i + 1], words[i + 2]);
            i += 2;
        } else if (word == "--root" && left >= 1) {
            options.roots.emplace_back(words[++i]);
        } else if (word == "--trace" && left >= 1) {
            options.trace = words[++i];
        } else if (meddlings.count(word) != 0 && left >= 2) {
            options.meddling = meddlings.at(word);
            options.number = std::strtol(words[++i], nullptr, 10);
            options.value = static_cast<int>(std::strtol(words[++i], nullptr, 10));
        } else {
            return false;
        }
    }
    return false;
}

std::string linkTarget(const std::string& link) {
    std::array<char, PATH_MAX> target{};
    const ssize_t size = readlink(link.c_str(), target.data(), target.size());
    return std::string(target.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
}

bool isBelow(const std::string& path, const std::string& folder) {
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

// Copies a file, a link or a folder with its contents. A file that another process removes meanwhile is left out.
void copyAll(const std::filesystem::path& from, const std::filesystem::path& to) {
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::file_status status = fs::symlink_status(from, error);
    if (fs::is_directory(status)) {
        fs::create_directories(to, error);
        for (fs::directory_iterator entry(from, error), end; !error && entry != end; entry.increment(error)) {
            copyAll(entry->path(), to / entry->path().filename());
        }
    } else if (fs::is_symlink(status)) {
        fs::remove(to, error);
        fs::copy_symlink(from, to, error);
    } else {
        fs::create_directories(to.parent_path(), error);
        fs::copy_file(from, to, fs::copy_options::overwrite_existing, error);
    }
}

class Tracer {
  public:
    explicit Tracer(const Options& options) : options_(options) {}

    int run();

  private:
    [[nodiscard]] std::string text(pid_t process, unsigned long address) const;
    [[nodiscard]] bool isBelowRoots(const std::string& path) const;
    [[nodiscard]] bool opensForWriting(pid_t process, int file) const;
    [[nodiscard]] std::optional<Call> describe(pid_t process, long number,
                                               const std::array<unsigned long, 6>& arguments) const;
    void start(pid_t process);
    void end(pid_t process);
    void keep(const Call& call) const;
    int stop(pid_t process, int status);

    const Options& options_;
    pid_t main_ = 0;
    long counted_ = 0;
    long matching_ = 0;  ///< the calls that --only counts
    bool isPastLoader_ = false;
    std::map<pid_t, Call> calls_;
    std::map<pid_t, bool> isInCall_;
    std::optional<Call> failing_;  ///< the first of the calls that fail with `--from`
    std::FILE* trace_ = nullptr;
};

std::string Tracer::text(pid_t process, unsigned long address) const {
    std::string result;
    while (result.size() < PATH_MAX) {
        errno = 0;
        const long word = ptrace(PTRACE_PEEKDATA, process, address + result.size(), nullptr);
        if (errno != 0) {
            break;
        }
        std::array<char, sizeof word> bytes{};
        std::memcpy(bytes.data(), &word, sizeof word);
        const auto zero = std::find(bytes.begin(), bytes.end(), '\0');
        result.append(bytes.begin(), zero);
        if (zero != bytes.end()) {
            break;
        }
    }
    return result;
}

bool Tracer::isBelowRoots(const std::string& path) const {
    return std::any_of(options_.roots.begin(), options_.roots.end(),
                       [&path](const std::string& root) { return isBelow(path, root); });
}

bool Tracer::opensForWriting(pid_t process, int file) const {
    const std::string name = "/proc/" + std::to_string(process) + "/fdinfo/" + std::to_string(file);
    std::FILE* const info = std::fopen(name.c_str(), "re");
    if (info == nullptr) {
        return false;
    }
    unsigned flags = 0;
    const bool isRead = std::fscanf(info, "pos: %*d flags: %o", &flags) == 1;
    std::fclose(info);
    return isRead && (flags & O_ACCMODE) != O_RDONLY;
}

std::optional<Call> Tracer::describe(pid_t process, long number, const std::array<unsigned long, 6>& arguments) const {
    const auto* const row = std::find_if(std::begin(callRows), std::end(callRows),
                                         [number](const CallRow& each) { return each.number == number; });
    if (row == std::end(callRows)) {
        return std::nullopt;
    }
    Call call{counted_ + 1, row->name, row->kind};
    const std::string folder = "/proc/" + std::to_string(process);
    const auto argument = [&arguments](int index) { return arguments.at(static_cast<std::size_t>(index)); };
    int file = row->file;
    if (row->path != none) {
        call.path = text(process, argument(row->path));
        if (call.path.empty() && row->isAt) {
            file = row->path - 1;
        } else if (!call.path.starts_with('/')) {
            const int base = row->isAt ? static_cast<int>(argument(row->path - 1)) : AT_FDCWD;
            call.path =
                linkTarget(folder + (base == AT_FDCWD ? "/cwd" : "/fd/" + std::to_string(base))) + '/' + call.path;
        }
    }
    if (file != none) {
        const int descriptor = static_cast<int>(argument(file));
        if (number == SYS_mmap && descriptor < 0) {
            return Call{counted_ + 1, "memory", "memory"};
        }
        call.path = linkTarget(folder + "/fd/" + std::to_string(descriptor));
        const bool isOutput = descriptor == STDOUT_FILENO || descriptor == STDERR_FILENO;
        if (isOutput && std::string_view(call.name) == "write" && !isBelowRoots(call.path)) {
            call.kind = "output";
            return call;
        }
        const bool isInMemory = call.path.starts_with("/memfd:") && number != SYS_close;
        if (!isInMemory &&
            (!isBelowRoots(call.path) || (number == SYS_close && !opensForWriting(process, descriptor)))) {
            return std::nullopt;
        }
        if (number == SYS_mmap && (argument(3) & MAP_SHARED) != 0 && (argument(2) & PROT_WRITE) != 0) {
            call.kind = "change";
        }
        return call;
    }
    // This isn't a call of the program: sanitizers write to a pipe to learn from the kernel whether an address is
    // readable.
    if (number == SYS_pipe2 && (static_cast<int>(argument(1)) & O_CLOEXEC) == 0) {
        return std::nullopt;
    }
    if (row->path != none && !isBelowRoots(call.path)) {
        return std::nullopt;
    }
    const bool isOpen = number == SYS_open || number == SYS_openat;
    constexpr int changing = O_WRONLY | O_RDWR | O_CREAT | O_TRUNC;
    if (isOpen && (static_cast<int>(argument(row->path + 1)) & changing) != 0) {
        call.kind = "change";
    }
    return call;
}

// Gives a call that has to fail a number that doesn't exist, so the kernel doesn't execute it. Its result is set when
// it ends.
void Tracer::start(pid_t process) {
    user_regs_struct registers{};
    ptrace(PTRACE_GETREGS, process, nullptr, &registers);
    const std::array<unsigned long, 6> arguments = {registers.rdi, registers.rsi, registers.rdx,
                                                    registers.r10, registers.r8,  registers.r9};
    std::optional<Call> call = describe(process, static_cast<long>(registers.orig_rax), arguments);
    if (!call) {
        return;
    }
    // The number of calls that allocate memory differs from run to run. They are counted separately, so that the
    // numbers of all other calls stay the same.
    const bool isMemory = std::strcmp(call->kind, "memory") == 0;
    isPastLoader_ = isPastLoader_ || !isMemory;
    if (isMemory != options_.countsMemory || !isPastLoader_) {
        return;
    }
    ++counted_;
    const bool isMatching =
        options_.onlyName.empty() || (options_.onlyName == call->name && options_.onlyPath == call->path);
    matching_ += isMatching ? 1 : 0;
    bool isSkipped = false;
    const bool isChosen = isMatching && matching_ == options_.number;
    if (isChosen && options_.meddling == Meddling::failFrom) {
        failing_ = call;
    }
    const bool fails =
        (isChosen && options_.meddling == Meddling::fail) ||
        (failing_ && std::strcmp(failing_->name, call->name) == 0 && std::strcmp(failing_->kind, call->kind) == 0);
    if (fails) {
        isSkipped = registers.orig_rax != SYS_close && registers.orig_rax != SYS_brk;
        if (registers.orig_rax == SYS_brk) {
            call->refusedEnd = registers.rdi;
            registers.rdi = 0;  // a failing brk returns the current end of the heap, like brk(0)
            ptrace(PTRACE_SETREGS, process, nullptr, &registers);
        } else {
            call->forcedResult = -options_.value;
        }
    } else if (isChosen && options_.meddling == Meddling::killBefore) {
        call->forcedResult = static_cast<long>(registers.orig_rax);
        call->isDelayed = true;
        isSkipped = true;
    } else if (isChosen && options_.meddling == Meddling::killAfter) {
        call->killsAfter = true;
    }
    if (isSkipped) {
        registers.orig_rax = static_cast<unsigned long>(-1);
        ptrace(PTRACE_SETREGS, process, nullptr, &registers);
    }
    const bool diesNow = call->isDelayed && options_.value == SIGKILL;
    calls_.insert_or_assign(process, *std::move(call));
    if (diesNow) {
        end(process);
    }
}

void Tracer::end(pid_t process) {
    const auto found = calls_.find(process);
    if (found == calls_.end()) {
        return;
    }
    const Call& call = found->second;
    user_regs_struct registers{};
    ptrace(PTRACE_GETREGS, process, nullptr, &registers);
    if (call.forcedResult) {
        registers.rax = static_cast<unsigned long>(*call.forcedResult);
        if (call.isDelayed) {
            constexpr unsigned long sizeOfInstruction = 2;
            registers.rip -= sizeOfInstruction;
        }
        ptrace(PTRACE_SETREGS, process, nullptr, &registers);
    }
    if (call.refusedEnd) {
        registers.rdi = *call.refusedEnd;  // the program must find its argument unchanged
        ptrace(PTRACE_SETREGS, process, nullptr, &registers);
    }
    const bool isChanged = call.forcedResult || call.killsAfter || call.refusedEnd;
    std::fprintf(trace_, "%ld\t%s\t%s\t%s\t%ld\t%d\t%s\n", call.number, call.kind, call.name, call.path.c_str(),
                 static_cast<long>(registers.rax), process, isChanged ? "!" : "");
    if (!call.isDelayed && registers.rax == 0) {
        keep(call);
    }
    if (call.isDelayed || call.killsAfter) {
        kill(options_.signalsCaller ? process : main_, options_.value);
    }
    calls_.erase(found);
}

// Copies the files that a call has flushed. Meanwhile the traced process waits.
void Tracer::keep(const Call& call) const {
    const bool isFileSystem = std::strcmp(call.name, "syncfs") == 0;
    if (!isFileSystem && std::strcmp(call.name, "sync") != 0) {
        return;
    }
    std::error_code error;
    for (const auto& [folder, folderCopy] : options_.kept) {
        if (isFileSystem && isBelow(call.path, folder)) {
            std::filesystem::remove_all(folderCopy, error);
            copyAll(folder, folderCopy);
        } else if (!isFileSystem && isBelow(call.path, folder) && !std::filesystem::is_directory(call.path, error)) {
            copyAll(call.path, folderCopy + call.path.substr(folder.size()));
        }
    }
}

// Returns the signal that the process receives when it continues.
int Tracer::stop(pid_t process, int status) {
    constexpr int callStop = SIGTRAP | 0x80;
    const int signal = WSTOPSIG(status);
    if (signal == callStop) {
        bool& isInCall = isInCall_[process];
        isInCall = !isInCall;
        isInCall ? start(process) : end(process);
        return 0;
    }
    const bool isEvent = (static_cast<unsigned>(status) >> 16U) != 0;
    const bool isNewThread = signal == SIGSTOP && isInCall_.try_emplace(process, false).second;
    return isEvent || isNewThread ? 0 : signal;
}

int Tracer::run() {
    trace_ = std::fopen(options_.trace.empty() ? "/dev/null" : options_.trace.c_str(), "we");
    if (trace_ == nullptr) {
        std::perror(options_.trace.c_str());
        return EXIT_FAILURE;
    }
    for (const auto& [folder, folderCopy] : options_.kept) {
        copyAll(folder, folderCopy);
    }
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    main_ = fork();
    if (main_ == 0) {
        if (options_.dropOverride) {
            prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE);
        }
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        execv(options_.program[0], options_.program);
        _exit(127);
    }
    int status = 0;
    if (main_ < 0 || waitpid(main_, &status, 0) != main_ || !WIFSTOPPED(status)) {
        std::perror("fault_injector");
        return EXIT_FAILURE;
    }
    isInCall_[main_] = false;
    const long traced = PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL |
                        (options_.tracesChildren ? PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK : 0);
    ptrace(PTRACE_SETOPTIONS, main_, nullptr, traced);
    ptrace(PTRACE_SYSCALL, main_, nullptr, 0L);
    int result = EXIT_FAILURE;
    for (pid_t process = 0; (process = waitpid(-1, &status, __WALL)) > 0;) {
        if (WIFSTOPPED(status)) {
            const long signal = stop(process, status);
            ptrace(PTRACE_SYSCALL, process, nullptr, signal);
            continue;
        }
        // The number of a process can be used again.
        calls_.erase(process);
        isInCall_.erase(process);
        if (process == main_) {
            result = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
    }
    std::fclose(trace_);
    return result;
}

}  // namespace

int main(int count, char** words) {
    Options options;
    if (!readOptions(count, words, options)) {
        std::fputs("fault_injector OPTION... -- PROGRAM ARGUMENT...: the head of its source lists the options\n",
                   stderr);
        return EXIT_FAILURE;
    }
    return Tracer(options).run();
}
