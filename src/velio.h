// The interface of the card's GPIO driver, "/dev/velio0".
#ifndef VELIO_H
#define VELIO_H

#include <cstdint>

/// The driver's description of a pin; native byte order, 20 bytes.
struct vel_io_pin_cfg {
    uint16_t pin_id;    ///< the driver's number for the pin
    uint8_t pin_in_out; ///< direction
    uint8_t def_level;  ///< default level
    char pin_desc[16];  ///< NUL-terminated name, such as "GSM_PWR"
};

/// Write these 4 bytes to the device to set a level.
struct vel_io_pin_status {
    uint16_t pin_id;
    uint16_t pin_level; ///< 1 high, 0 low
};

static_assert(sizeof(vel_io_pin_cfg) == 20 && sizeof(vel_io_pin_status) == 4, "the driver's layout");

/// Returns the number of pins. It is _IO('g', 1).
constexpr unsigned long VEL_IO_PIN_COUNT = 0x6701;
/// Fills an array of vel_io_pin_cfg, which must have room for every pin; returns a positive number on success. It is
/// _IOR('g', 2, ...) with the card's 32-bit pointers, on every architecture.
constexpr unsigned long VEL_IO_PIN_TABLE = 0x80046702;

constexpr char VEL_IO_DEVICE[] = "/dev/velio0";

#endif
