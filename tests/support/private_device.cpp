#include "support/private_device.h"

#include <errno.h>
#include <fcntl.h>
#include <sched.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

namespace quill::test {

namespace {

constexpr char kMachineProc[] = "/machine-proc";

// Keeps the first failure. Later steps are then skipped.
class Steps {
public:
    bool failed() const { return !why_.empty(); }
    const std::string &why() const { return why_; }

    template <typename Call>
    void step(const std::string &what, Call call) {
        if (!failed() && call() != 0) why_ = what + ": " + strerror(errno);
    }
    void mount_on(const std::string &source, const std::string &target, const char *type, unsigned long flags) {
        step("mount " + target, [&] { return mount(source.c_str(), target.c_str(), type, flags, nullptr); });
    }
    void bind(const std::string &source, const std::string &target) { mount_on(source, target, nullptr, MS_BIND); }

private:
    std::string why_;
};

void own_namespace(Steps &steps) {
    const unsigned uid = getuid(), gid = getgid();
    if (unshare(CLONE_NEWNS | CLONE_NEWIPC) == 0) return;
    // Without privilege, the process becomes root of a user namespace that has only this user.
    steps.step("unshare", [] { return unshare(CLONE_NEWUSER | CLONE_NEWNS | CLONE_NEWIPC); });
    if (steps.failed()) return;
    write_file("/proc/self/setgroups", "deny");
    write_file("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1");
    write_file("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
}

// In a chroot, "/" is not a mount point, so the propagation of its mount cannot be changed there. A process leaves a
// chroot when its root is below its working directory: ".." then leads to the real root. A child leaves the chroot, so
// that this process keeps its root and its working directory. Both processes have the same mounts.
void keep_mounts_private(Steps &steps) {
    constexpr unsigned long kPrivate = MS_REC | MS_PRIVATE;
    if (mount("none", "/", nullptr, kPrivate, nullptr) == 0) return;
    if (errno != EINVAL) return steps.step("mount /", [] { return -1; });
    char below[] = "/tmp/quill-root-XXXXXX";
    steps.step("mkdtemp", [&] { return mkdtemp(below) ? 0 : -1; });
    if (steps.failed()) return;
    const pid_t child = fork();
    if (child == 0) {
        bool done = chdir("/") == 0 && chroot(below) == 0;
        for (int level = 0; level < 64; level++) done = done && chdir("..") == 0;
        _exit(done && mount("none", ".", nullptr, kPrivate, nullptr) == 0 ? 0 : errno);
    }
    int status = -1;
    waitpid(child, &status, 0);
    errno = WIFEXITED(status) ? WEXITSTATUS(status) : ECHILD;
    steps.step("mount the real root", [] { return errno == 0 ? 0 : -1; });
    rmdir(below);
}

// Mounts the entries of the machine's root, except for the folders that the device has of its own.
void share_machine(Steps &steps, const std::string &root) {
    // Reads /proc/self/root instead of "/", because an emulator may show its system root as "/".
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/root")) {
        const std::string path = "/" + entry.path().filename().string(), inside = root + path;
        if (std::set<std::string>{"/dev", "/tmp", "/flash", "/flash1", "/mnt", "/quill"}.contains(path)) continue;
        if (entry.is_symlink()) {
            steps.step(inside, [&] { return symlink(std::filesystem::read_symlink(entry).c_str(), inside.c_str()); });
        } else if (entry.is_directory()) {
            steps.step(inside, [&] { return mkdir(inside.c_str(), 0755); });
            steps.mount_on(path, inside, nullptr, MS_BIND | MS_REC);
        }
    }
}

void make_dev(Steps &steps, const std::string &dev) {
    steps.step(dev, [&] { return mkdir(dev.c_str(), 0755); });
    for (const char *name : {"/null", "/zero", "/full", "/random", "/urandom", "/tty"}) {
        if (steps.failed()) return;
        write_file(dev + name, "");
        steps.bind(std::string("/dev") + name, dev + name);
    }
    write_file(dev + "/console", "");
    steps.step("/dev/fd", [&] { return symlink("/proc/self/fd", (dev + "/fd").c_str()); });
    steps.step("/dev/shm", [&] { return mkdir((dev + "/shm").c_str(), 01777); });
}

// Makes an empty /tmp. If the working directory is in /tmp, the folder of /tmp that contains it stays.
void make_tmp(Steps &steps, const std::string &root, const std::string &cwd) {
    const std::string tmp = root + "/tmp";
    steps.step(tmp, [&] { return mkdir(tmp.c_str(), 0777); });
    steps.step(tmp, [&] { return chmod(tmp.c_str(), 01777); });
    if (!cwd.starts_with("/tmp/")) return;
    const std::string kept = cwd.substr(0, cwd.find('/', strlen("/tmp/")));
    steps.step(kept, [&] { return mkdir((root + kept).c_str(), 0755); });
    steps.mount_on(kept, root + kept, nullptr, MS_BIND | MS_REC);
}

}  // namespace

std::string enter_private_mounts() {
    Steps steps;
    own_namespace(steps);
    keep_mounts_private(steps);
    return steps.why();
}

// Builds a root file system for the device and makes it the root. It can have folders that the machine does not have,
// and they disappear when its last process has ended.
std::string enter_private_device() {
    Steps steps;
    char cwd[4096] = "", root[] = "/tmp/quill-device-XXXXXX";
    if (const std::string why = enter_private_mounts(); !why.empty()) return why;
    steps.step("getcwd", [&] { return getcwd(cwd, sizeof cwd) ? 0 : -1; });
    steps.step("mkdtemp", [&] { return mkdtemp(root) ? 0 : -1; });
    if (steps.failed()) return steps.why();
    const int machines_tmp = open("/tmp", O_PATH | O_DIRECTORY | O_CLOEXEC);
    steps.mount_on("tmpfs", root, "tmpfs", 0);
    if (!steps.failed()) {
        share_machine(steps, root);
        make_dev(steps, root + std::string("/dev"));
        make_tmp(steps, root, cwd);
        for (const char *folder : {"/flash", "/mnt", "/mnt/usbdisk", "/quill", "/quill/reg_table"}) {
            steps.step(folder, [&] { return mkdir((root + std::string(folder)).c_str(), 0755); });
        }
        mkdir((root + std::string(kMachineProc)).c_str(), 0755);  // may exist, because private devices can be nested
    }
    steps.step(root, [&] { return chdir(root); });
    steps.mount_on(".", "/", nullptr, MS_MOVE);
    steps.step("chroot", [] { return chroot("."); });
    steps.step(cwd, [&] { return chdir(cwd); });
    if (steps.failed()) {
        (void)!chdir(cwd);
        umount2(root, MNT_DETACH);
    }
    unlinkat(machines_tmp, strrchr(root, '/') + 1, AT_REMOVEDIR);
    close(machines_tmp);
    return steps.why();
}

std::string enter_private_proc() {
    Steps steps;
    const bool first = access((kMachineProc + std::string("/self")).c_str(), F_OK) != 0;
    if (first) steps.mount_on("/proc", kMachineProc, nullptr, MS_BIND | MS_REC);
    steps.mount_on("tmpfs", "/proc", "tmpfs", 0);
    for (const char *name : {"self", "thread-self", "sys"}) {
        const std::string machines = std::string(kMachineProc) + "/" + name, own = std::string("/proc/") + name;
        steps.step(own, [&] { return symlink(machines.c_str(), own.c_str()); });
    }
    return steps.why();
}

void leave_private_proc() {
    if (access((kMachineProc + std::string("/self")).c_str(), F_OK) == 0) umount2("/proc", MNT_DETACH);
}

void write_file(const std::string &path, const std::string &content) { std::ofstream(path) << content; }

std::string read_file(const std::string &path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace quill::test
