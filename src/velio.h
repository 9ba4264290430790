// The records and requests of the card's GPIO driver, device "/dev/velio0".
#ifndef VELIO_H
#define VELIO_H

#include <cstdint>

/// One pin as the driver describes it; native byte order, 20 bytes.
struct vel_io_pin_cfg {
    uint16_t pin_id;    ///< the driver's number of the pin
    uint8_t pin_in_out; ///< direction
    uint8_t def_level;  ///< default level
    char pin_desc[16];  ///< terminated name, such as "GSM_PWR"
};

/// Written to the device, 4 bytes, to set a level.
struct vel_io_pin_status {
    uint16_t pin_id;
    uint16_t pin_level; ///< 1 high, 0 low
};

static_assert(sizeof(vel_io_pin_cfg) == 20 && sizeof(vel_io_pin_status) == 4, "the driver's own layout");

/// Returns the number of pins. _IO('g', 1)
constexpr unsigned long VEL_IO_PIN_COUNT = 0x6701;
/// Fills an array of vel_io_pin_cfg with room for every pin; positive on success. _IOR('g', 2, ...) of the card's
/// 32-bit pointers: the same number wherever the daemon is built.
constexpr unsigned long VEL_IO_PIN_TABLE = 0x80046702;

constexpr char VEL_IO_DEVICE[] = "/dev/velio0";

#endif
