#include <quill/cell_profiles.h>
#include <stddef.h>

// Some programs read this layout without our header.
static_assert(offsetof(cell_profile, vendor) == 64);
static_assert(offsetof(cell_profile, product) == 68);
static_assert(offsetof(cell_profile, reserved1) == 72);
static_assert(offsetof(cell_profile, serial_device) == 200);
static_assert(offsetof(cell_profile, code) == 264);
static_assert(offsetof(cell_profile, reserved2) == 268);
static_assert(offsetof(cell_profile, options) == 280);
static_assert(offsetof(cell_profile, provider) == 288);
static_assert(offsetof(cell_profile, texts) == 352);
static_assert(offsetof(cell_profile, driver_class) == 480);
static_assert(offsetof(cell_profile, mass_storage) == 484);
static_assert(offsetof(cell_profile, storage_device) == 488);
static_assert(offsetof(cell_profile, trailing_code) == 616);
static_assert(offsetof(cell_profile, reserved3) == 620);
static_assert(sizeof def_cell_profiles == 9360);

namespace {

constexpr char kInternet[] = "internet";

constexpr void set(char *field, const char *text) {
    while (*text) *field++ = *text++;
}

consteval cell_profile modem(const char *name, uint32_t vendor, uint32_t product, const char *serial_device,
                             const char *provider, uint32_t driver_class, const char *text = "") {
    cell_profile p = {};
    set(p.name, name);
    p.vendor = vendor;
    p.product = product;
    set(p.serial_device, serial_device);
    p.code = CELL_PROFILE_MODEM;
    set(p.provider, provider);
    for (char(&field)[64] : p.texts) set(field, text);
    p.driver_class = driver_class;
    p.trailing_code = 2;
    return p;
}

consteval cell_profile with_options(cell_profile p, uint32_t first, uint32_t second) {
    p.options[0] = first;
    p.options[1] = second;
    return p;
}

consteval cell_profile mass_storage(const char *name, uint32_t vendor, uint32_t product, const char *device) {
    cell_profile p = {};
    set(p.name, name);
    p.vendor = vendor;
    p.product = product;
    p.code = CELL_PROFILE_MASS_STORAGE;
    p.mass_storage = 1;
    set(p.storage_device, device);
    return p;
}

consteval cell_profile end() {
    cell_profile p = {};
    p.code = CELL_PROFILE_END;
    return p;
}

}  // namespace

constinit const cell_profile def_cell_profiles[CELL_PROFILES] = {
    modem("Novatel_U720", 0x1410, 0x2110, "ttyUSB0", "evdo_us", 2),
    modem("Novatel_U727", 0x1410, 0x4100, "ttyUSB0", "evdo_us", 2),
    modem("Kyocera_KPC680", 0x0c88, 0x180a, "ttyUSB0", "evdo_us", 2),
    modem("Sierra_Compass_597", 0x1199, 0x0023, "ttyUSB0", "evdo_us", 5),
    modem("Pantech_UM175", 0x106c, 0x3714, "ttyUSB1", "evdo_us", 2),
    modem("Sierra_USBConn_881", 0x1199, 0x6856, "ttyUSB0", "gsm_us", 2),
    modem("USBConn_Mercury_C885", 0x1199, 0x6880, "ttyUSB3", "gsm_us", 2),
    modem("Globetrotter_Icon322", 0x0af0, 0xd033, "ttyHS3", "gsm_us", 6, kInternet),
    modem("ZTE_MF626", 0x19d2, 0x0031, "ttyUSB2", "vivo_br", 2),
    modem("ZTE_MF668", 0x19d2, 0x0017, "ttyUSB1", "gsm_us", 2, kInternet),
    modem("Novatel_U760", 0x1410, 0x6000, "ttyUSB0", "evdo_us", 2),
    modem("Huawei_E220_E272", 0x12d1, 0x1003, "ttyUSB0", "gsm_asia", 2),
    with_options(modem("Pantech_UML290", 0x106c, 0x3718, "none", "none", 8), 1, 3),
    mass_storage("ZTE_MF626_668_MS", 0x19d2, 0x2000, "sr0"),
    end(),
};
