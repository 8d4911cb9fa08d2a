// The fixed paths of the system: what the library finds, and leaves, outside the process.
#pragma once

namespace quill::paths {

// Devices.
inline constexpr char kLogDaemon[] = "/dev/log";
inline constexpr char kConsole[] = "/dev/console";
inline constexpr char kBoardControl[] = "/dev/mxc";
inline constexpr char kMachineType[] = "/dev/sam0";
inline constexpr char kFlashDevice[] = "/dev/mtd0";  // unless a program names another

// What the kernel publishes.
inline constexpr char kApModel[] = "/proc/ap_model";
inline constexpr char kFlashVariant[] = "/proc/fl_var";
inline constexpr char kBootedPartition[] = "/proc/booted";
inline constexpr char kUptime[] = "/proc/uptime";
inline constexpr char kMemory[] = "/proc/meminfo";
inline constexpr char kProgramOf[] = "/proc/%d/exe";  // of the process with that id

// What the system's programs share, until the next start.
inline constexpr char kTmp[] = "/tmp";
inline constexpr char kMeshRole[] = "/tmp/mesh_role";
inline constexpr char kFlashHistory[] = "/tmp/flashophist";
inline constexpr char kFlashLockKey[] = "/tmp/mtd";
inline constexpr char kControllerId[] = "/tmp/cfgmContId";

// What outlasts it.
inline constexpr char kFlash[] = "/flash";
inline constexpr char kFlash1[] = "/flash1";
inline constexpr char kCrash[] = "/flash/crash";
inline constexpr char kGlobalConfigEnabled[] = "/flash/cfgmGlobalConfigEnable";
inline constexpr char kCurrentConfig[] = "/flash/config/.config";  // holds the path of the configuration in use
inline constexpr char kBocConfigList[] = "/flash/config/.boc_config.list";  // of the configurations .boc_config.*
inline constexpr char kRootFileSystem[] = "/bin";                           // any path on it

// USB storage: one directory a mounted partition.
inline constexpr char kUsb[] = "/mnt/usbdisk";

}  // namespace quill::paths
