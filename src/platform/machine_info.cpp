#include <quill/machine_info.h>

#include <quill/command.h>
#include <stdio.h>
#include <sys/stat.h>

#include <algorithm>
#include <initializer_list>
#include <iterator>

#include "base/paths.h"
#include "base/shell_line.h"

namespace {

bool always() { return true; }

bool has_current_config() {
    struct stat file;
    return stat(quill::paths::kCurrentConfig, &file) == 0 && file.st_size > 0;
}

bool has_boc_configs() {
    struct stat file;
    return stat(quill::paths::kBocConfigList, &file) == 0;
}

struct Step {
    bool (*wanted)();
    const char *command;  // the dump's path replaces its %s
    const char *next = nullptr;
};

// The order and every byte of these texts are fixed. Compatibility: readers of dumps search for them. If there is no
// current configuration, the dump does not mention it.
constexpr Step kSteps[] = {
    {always, "softwareVersion 1 >> %s 2>&1 "},
    {always, "showVersion 1 >> %s 2>&1 "},
    {always, "hwMon -i >> %s 2>&1 "},
    {always, "cat /proc/meminfo >> %s 2>&1 "},
    {always, "cat /proc/slabinfo >> %s 2>&1 "},
    {always, "cat /proc/loadavg >> %s 2>&1 "},
    {always, "dmesg -s 500000 >> %s 2>&1 "},
    {always, "netstat -a -n >> %s 2>&1 "},
    {always, "ps -awxo %%cpu,state,pid,ppid,rss,vsz,flags,nice,start,nwchan,stime,time,command >> %s 2>&1"},
    {always, "df >> %s 2>&1 "},
    {always, "cat /proc/meminfo >> %s 2>&1 "},  // again, to show what the commands above have changed
    {always, "sysmgr -m >> %s 2>&1 "},
    {always, "lsof -n >> %s 2>&1 "},
    {always, "ls -l /tmp/.vesk >> %s 2>&1 "},  // the messaging library's directory
    {always, "cat /proc/ksyms >> %s 2>&1 "},
    {has_current_config, "cat `cat /flash/config/.config` >> %s 2>&1 "},
    {has_boc_configs, "echo \"ls -lrt /flash/config/.boc_config.*\" >> %s 2>&1 ",
     "ls -lrt /flash/config/.boc_config.* >> %s 2>&1 "},
    {always, "echo 'mysqladmin processlist' >> %s 2>&1"},
    {always, "mysqladmin processlist >> %s 2>&1 "},
};

// No command may wait for input, as cat does if the configuration's name is blank.
constexpr char kNoInput[] = " </dev/null";

int run(const char *command, const char *path) {
    quill::ShellLine<> line;
    if (!line.format(command, path)) return 0;
    char text[sizeof line + sizeof kNoInput];
    snprintf(text, sizeof text, "%s%s", line.text(), kNoInput);
    return execute_command(text);
}

}  // namespace

int saveMachineInfo(const char *path) {
    const auto fits = [=](const char *command) { return !command || quill::ShellLine<>::fits(command, path); };
    const auto fit = [=](const Step &step) { return fits(step.command) && fits(step.next); };
    if (!path || !std::all_of(std::begin(kSteps), std::end(kSteps), fit)) return 0;
    int started = 0;
    for (const Step &step : kSteps) {
        if (!step.wanted()) continue;
        for (const char *command : {step.command, step.next})
            if (command) started = run(command, path);
    }
    return started;
}
