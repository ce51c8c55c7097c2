// AT command handlers of the GNSS adapter, as the command table names them.
#pragma once

#include "at_record.h"

// Every operation a GNSS command does not offer: m_retenum 20, no text.
int32_t AT_GPS_NotSupport(AtRequest* pIn, AtResponse* pOut);

// ^WPDGP and ^WPEND set: the GNSS port starts and stops the engine.
int32_t AT_GPS_StartFix(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_StopFix(AtRequest* pIn, AtResponse* pOut);
// ^NLGPSOPT set and query: a port (0 GNSS, 1 NMEA) starts or stops its fixes
// under the engine-sharing rule. ^NLGPSOPT test passes an NI notification text.
int32_t AT_NMEA_StartFix(AtRequest* pIn, AtResponse* pOut);
int32_t AT_NMEA_StopFix(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_NiNotify(AtRequest* pIn, AtResponse* pOut);

// ^WPDOM operation mode.
int32_t AT_GPS_SetOpMode(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_ReadOpMode(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_TestOpMode(AtRequest* pIn, AtResponse* pOut);
// ^WPDST session type.
int32_t AT_GPS_SetSessionType(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_ReadSessionType(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_TestSessionType(AtRequest* pIn, AtResponse* pOut);
// ^WPDFR number of fixes and interval.
int32_t AT_GPS_SetFixRate(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_ReadFixRate(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_TestFixRate(AtRequest* pIn, AtResponse* pOut);
// ^WPDGL lock value.
int32_t AT_GPS_SetLocks(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_ReadLocks(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_TestLocks(AtRequest* pIn, AtResponse* pOut);
// ^WPDIM aiding-data deletion.
int32_t AT_GPS_SetAidingData(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_TestAidingData(AtRequest* pIn, AtResponse* pOut);
// ^WPDNM.
int32_t AT_GPS_SetAnyData(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_TestAnyData(AtRequest* pIn, AtResponse* pOut);
// ^WPLPM low-power mode.
int32_t AT_GPS_SetLpm(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_ReadLpm(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_TestLpm(AtRequest* pIn, AtResponse* pOut);
// ^SUPLACAP SUPL autonomous capability.
int32_t AT_GPS_SetSuplACap(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_ReadSuplACap(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_TestSuplACap(AtRequest* pIn, AtResponse* pOut);
// ^WPPORT output port configuration.
int32_t AT_GPS_SetPortCfg(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_ReadPortCfg(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_TestPortCfg(AtRequest* pIn, AtResponse* pOut);
