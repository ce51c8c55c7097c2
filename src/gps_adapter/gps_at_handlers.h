// AT command handlers of the GNSS adapter, as the command table names them.
#pragma once

#include "at_record.h"

// Every operation a GNSS command does not offer: m_retenum 20, no text.
int32_t AT_GPS_NotSupport(AtRequest* pIn, AtResponse* pOut);
