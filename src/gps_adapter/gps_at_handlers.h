// AT command handlers of the GNSS adapter, as the command table names them.
#pragma once

#include "at_record.h"

// Every operation a GNSS command does not offer: m_retenum 20, no text.
int32_t AT_GPS_NotSupport(AtRequest* pIn, AtResponse* pOut);

// ^WPDGP and ^WPEND set: the GNSS port starts and stops the engine.
int32_t AT_GPS_StartFix(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_StopFix(AtRequest* pIn, AtResponse* pOut);
// ^NLGPSOPT set and query: a port (0 GNSS, 1 NMEA) starts or stops its fixes
// under the engine-sharing rule.
int32_t AT_NMEA_StartFix(AtRequest* pIn, AtResponse* pOut);
int32_t AT_NMEA_StopFix(AtRequest* pIn, AtResponse* pOut);
