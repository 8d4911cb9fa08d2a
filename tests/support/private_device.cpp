#include "support/private_device.h"

#include <errno.h>
#include <fcntl.h>
#include <sched.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>

namespace quill::test {

namespace {

// What failed first; later steps are then skipped.
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
    if (unshare(CLONE_NEWNS) == 0) return;
    // Without privilege: as root of a user namespace that knows this user alone.
    steps.step("unshare", [] { return unshare(CLONE_NEWUSER | CLONE_NEWNS); });
    if (steps.failed()) return;
    write_file("/proc/self/setgroups", "deny");
    write_file("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1");
    write_file("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
}

void own_dev(Steps &steps) {
    char folder[] = "/tmp/quill-device-XXXXXX";
    steps.step("mkdtemp", [&] { return mkdtemp(folder) ? 0 : -1; });
    const std::string dev = folder;
    steps.mount_on("tmpfs", dev, "tmpfs", 0);
    for (const char *name : {"/null", "/zero", "/full", "/random", "/urandom", "/tty"}) {
        if (steps.failed()) return;
        write_file(dev + name, "");
        steps.bind(std::string("/dev") + name, dev + name);
    }
    write_file(dev + "/console", "");
    steps.step("/dev/fd", [&] { return symlink("/proc/self/fd", (dev + "/fd").c_str()); });
    steps.step("/dev/shm", [&] { return mkdir((dev + "/shm").c_str(), 01777); });
    steps.mount_on(dev, "/dev", nullptr, MS_MOVE);
    rmdir(folder);
}

// An empty /tmp, apart from the working directory when that is in it.
void own_tmp(Steps &steps) {
    char cwd[4096];
    steps.step("getcwd", [&] { return getcwd(cwd, sizeof cwd) ? 0 : -1; });
    std::string kept = cwd;
    const bool inside = kept.starts_with("/tmp/");
    kept = kept.substr(0, kept.find('/', strlen("/tmp/")));
    const int top = inside ? open(kept.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC) : -1;
    steps.mount_on("tmpfs", "/tmp", "tmpfs", 0);
    steps.step("/tmp", [] { return chmod("/tmp", 01777); });
    if (inside) {
        steps.step(kept, [&] { return mkdir(kept.c_str(), 0755); });
        steps.bind("/proc/self/fd/" + std::to_string(top), kept);
        close(top);
        steps.step(cwd, [&] { return chdir(cwd); });
    }
}

}  // namespace

std::string enter_private_device() {
    Steps steps;
    own_namespace(steps);
    steps.mount_on("none", "/", nullptr, MS_REC | MS_PRIVATE);
    own_dev(steps);
    own_tmp(steps);
    return steps.why();
}

void write_file(const std::string &path, const std::string &content) { std::ofstream(path) << content; }

std::string read_file(const std::string &path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace quill::test
