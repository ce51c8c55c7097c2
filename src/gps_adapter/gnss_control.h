// GNSS control operations: radio, fix sessions, operation mode, NI answers, aiding data.
#pragma once

#include <cstdint>

// Each returns 0 on success; failures are traced and, where the operation has
// a tag, reported as "$GPERR". Callers ignore the result.
int32_t GNSS_IOCTRL_Gnss_Radio(int32_t state);
int32_t GNSS_IOCTRL_Start_Fixsession(const uint32_t* fixType, const uint32_t* fixPara);
int32_t GNSS_IOCTRL_Stop_Fixsession(void);
int32_t GNSS_IOCTRL_Set_Operate_Mode(const uint32_t* mode);
int32_t GNSS_IOCTRL_SET_Ni_Allowed(const uint32_t* allow);
int32_t GNSS_IOCTRL_Set_Nitime(const uint32_t* time);
int32_t GNSS_IOCTRL_Set_NMEAlogging_Mode(const uint32_t* mode);
int32_t IOCTRL_GPS_Reset_Engine(void);
int32_t IOCTRL_GPS_SetGNSSAddr(const char* address, uint16_t length);
int32_t IOCTRL_GPS_SetAGNSSVer(uint32_t version);
int32_t GNSS_IOCTRL_ClearAgnssData(const uint8_t* mode);
