// The channel to the fingerprint driver: the command record that every ioctl carries and the codes
// in it. This is the driver's wire format; it never shows in a public header.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orva {

// SPI_IOC_MESSAGE(1) of the spidev interface: write direction, type 'k', number 0, 32 bytes.
inline constexpr uint32_t kDriverRequest = 0x40206B00;

inline constexpr uint32_t kClockNormalHz = 12500000;
inline constexpr uint32_t kClockInfoMemoryHz = 3300000;

// The parameters that arm the interrupt; their meaning is the driver's.
inline constexpr uint8_t kIntParams[3] = {4, 10, 1};

enum : uint8_t {
  FP_IOC_RESET = 4,
  FP_IOC_POWER_CTRL = 5,
  FP_IOC_SET_CLOCK = 6,
  FP_IOC_EEPROM_ENABLE = 7,
  FP_IOC_CLOCK_OTHER = 16,
  FP_IOC_CPU_SPEEDUP = 17,
  FP_IOC_INT_ENABLE = 164,
  FP_IOC_INT_DISABLE = 165
};

// One spidev transfer, except that the driver takes a command code and three parameters where
// spidev has its bit widths and padding.
struct fp_ioc_transfer {
  uint64_t tx_buf;
  uint64_t rx_buf;
  uint32_t len;
  uint32_t speed_hz;
  uint16_t delay_usecs;
  uint8_t bits_per_word;
  uint8_t cs_change;
  uint8_t opcode;
  uint8_t param[3];
};
static_assert(offsetof(fp_ioc_transfer, tx_buf) == 0);
static_assert(offsetof(fp_ioc_transfer, rx_buf) == 8);
static_assert(offsetof(fp_ioc_transfer, len) == 16);
static_assert(offsetof(fp_ioc_transfer, speed_hz) == 20);
static_assert(offsetof(fp_ioc_transfer, delay_usecs) == 24);
static_assert(offsetof(fp_ioc_transfer, bits_per_word) == 26);
static_assert(offsetof(fp_ioc_transfer, cs_change) == 27);
static_assert(offsetof(fp_ioc_transfer, opcode) == 28);
static_assert(offsetof(fp_ioc_transfer, param) == 29);
static_assert(sizeof(fp_ioc_transfer) == 32 && alignof(fp_ioc_transfer) == 8);

// The one record. A field that a command does not write goes out as the last writer left it.
extern fp_ioc_transfer g_fp_ioc_transfer;

// Writes the fields that every command writes and sends the record. The addresses are those of the
// bytes to send and to receive into, or null.
int32_t send_command(int32_t handle, uint8_t opcode, uint32_t len, const void *tx_buf = nullptr,
                     const void *rx_buf = nullptr);

}  // namespace orva
