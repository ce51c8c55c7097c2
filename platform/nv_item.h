// Non-volatile items of the platform: fixed-size records that survive a restart of the module.
#pragma once

#include <cstdint>

// Item 58: the A-GNSS type and SUPL mode of the assistance commands.
inline constexpr uint32_t NV_Item_GPS_AGPSTYPECFG = 58;
inline constexpr uint32_t NV_ITEM_GPS_AGPSTYPECFG_SIZE = 120;

extern "C" {
// Reads size bytes of item into data. An item never written reads as all
// zero. 0 on success; non-zero on failure, data then undefined.
int32_t NV_Read(uint32_t item, void* data, uint32_t size);
// Writes size bytes of data as the whole of item: after a crash at any moment
// the item reads either as before or as written. 0 on success.
int32_t NV_Write(uint32_t item, const void* data, uint32_t size);
}
