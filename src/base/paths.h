// The fixed paths of the system that the library reads and writes.
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
inline constexpr char kOsBuild[] = "/proc/osbuild";
inline constexpr char kMemory[] = "/proc/meminfo";
inline constexpr char kProgramOf[] = "/proc/%d/exe";  // of the process with that id

// Files that the system's programs share until the next start.
inline constexpr char kTmp[] = "/tmp";
inline constexpr char kMeshRole[] = "/tmp/mesh_role";
inline constexpr char kFlashHistory[] = "/tmp/flashophist";
inline constexpr char kFlashLockKey[] = "/tmp/mtd";
inline constexpr char kControllerId[] = "/tmp/cfgmContId";

// Files that survive a restart.
inline constexpr char kFlash[] = "/flash";
inline constexpr char kFlash1[] = "/flash1";
inline constexpr char kCrash[] = "/flash/crash";
inline constexpr char kGlobalConfigEnabled[] = "/flash/cfgmGlobalConfigEnable";
inline constexpr char kCurrentConfig[] = "/flash/config/.config";  // holds the path of the configuration in use
inline constexpr char kBocConfigList[] = "/flash/config/.boc_config.list";  // lists the configurations .boc_config.*
inline constexpr char kRootFileSystem[] = "/bin";                           // any path on it

// Temporary files of a regulatory table's validation.
inline constexpr char kTableCertificate[] = "/quill/reg_table/temp_parsed_cert.bin";
inline constexpr char kTableSignature[] = "/quill/reg_table/temp_parsed_sign.bin";
inline constexpr char kTableContent[] = "/quill/reg_table/temp_parsed_file.bin";
inline constexpr char kTableVersion[] = "/quill/reg_table/temp_parsed_version.bin";
inline constexpr char kSignatureBytes[] = "/quill/reg_table/tempSignature.bin";
inline constexpr char kSignerDer[] = "/quill/reg_table/tempCert.der";
inline constexpr char kSignerPem[] = "/quill/reg_table/tempCert.pem";
inline constexpr char kSignerKey[] = "/quill/reg_table/tempInput.bin";
inline constexpr char kSignedData[] = "/quill/reg_table/tempdata.bin";
inline constexpr char kAuthorities[] = "/quill/reg_table/tempRootCert.pem";
inline constexpr char kCheckOutput[] = "/quill/reg_table/tempOutput.bin";  // first, an authority's certificate
inline constexpr char kUnpacked[] = "/quill/reg_table/tempdecompressedfiled.bin";
inline constexpr char kDecrypted[] = "/quill/reg_table/tempdecryptedfile.gz";  // the lock file; it stays empty

// USB storage: one directory for each mounted partition.
inline constexpr char kUsb[] = "/mnt/usbdisk";

}  // namespace quill::paths
