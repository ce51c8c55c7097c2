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

// ^GPSCFGDATA and ^LTODATA set: one chunk of a configuration document
// (base64) or of LTO aiding data (hexadecimal), checked and handed to the
// client at once.
int32_t AT_GPS_SetXmlData(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_SetLtoData(AtRequest* pIn, AtResponse* pOut);
// ^GNSSINJTIME and ^GNSSINJPOS set: reference time and position injection.
int32_t AT_GPS_InjRefTime(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_InjRefLocInfo(AtRequest* pIn, AtResponse* pOut);
// The same injections for the GNSS control events, from plain texts: the
// 22-character UTC time and an integer uncertainty; latitude and longitude
// in signed decimal degrees and an accuracy. 0 on success, -1 on failure
// (traced); nothing is answered.
int32_t AT_GPS_InjRefTime_ioctl(const char* time_text, const char* uncertainty_text);
int32_t AT_GPS_InjRefLocInfo_ioctl(const char* latitude, const char* longitude,
                                   const char* accuracy);

// ^WPURL assistance server address (at most 128 characters).
int32_t AT_GPS_SetServerAddr(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_ReadServerAddr(AtRequest* pIn, AtResponse* pOut);
// ^WPTLS TLS certificate, set in chunks of 300 characters, read whole.
int32_t AT_GPS_SetTlsCert(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_ReadTlsCert(AtRequest* pIn, AtResponse* pOut);
// ^AGNSSCFG A-GNSS protocol settings.
int32_t AT_GPS_SetAGNSSCFG(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_ReadAGNSSCFG(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_TestAGNSSCFG(AtRequest* pIn, AtResponse* pOut);
// ^AGPSTYPECFG A-GNSS type: the SUPL and LTO locks and the operating mode,
// the type kept in NV item 58.
int32_t AT_GPS_SetAgpstypeFeature(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_ReadAgpstypeFeature(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_TestAgpstypeFeature(AtRequest* pIn, AtResponse* pOut);
// ^SUPLMODE SUPL mode, kept in NV item 58 for the next ^AGPSTYPECFG set.
int32_t AT_GPS_SetSuplmode(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_ReadSuplmode(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_TestSuplmode(AtRequest* pIn, AtResponse* pOut);
// ^SUPLOCK, ^LTOLOCK, ^INJTIMELOCK lock states (1 = locked).
int32_t AT_GPS_SetSuplFeature(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_ReadSuplFeature(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_TestSuplFeature(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_SetLtoFeature(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_ReadLtoFeature(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_TestLtoFeature(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_SetInjRefTimeFeature(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_ReadInjRefTimeFeature(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_TestInjRefTimeFeature(AtRequest* pIn, AtResponse* pOut);
// Navigation receiver test: ^NAVTYPE, ^NAVENABLE, ^NAVFREQ and the ^NAVRX
// measurement.
int32_t AT_GPS_SetNavType(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_ReadNavType(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_TestNavType(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_SetNavEnable(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_TestNavEnable(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_SetNavFreq(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_ReadNavFreq(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_TestNavFreq(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_ReadNavRx(AtRequest* pIn, AtResponse* pOut);
// ^NAVQUY query, ^GNSSCNO set, ^GNSSPOS query, ^WPINFO query.
int32_t AT_GPS_ReadNavQuy(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_GnssCno(AtRequest* pIn, AtResponse* pOut);
int32_t At_GPS_ReadGnssPos(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_ReadWpinfo(AtRequest* pIn, AtResponse* pOut);
// ^WPCAP radio state, ^WNICT answer to an NI request, ^ZQCUST customization.
int32_t AT_GPS_SetWpcap(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_ReadWpcap(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_TestWpcap(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_SetWnict(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_TestWnict(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_SetZqcust(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_ReadZqcust(AtRequest* pIn, AtResponse* pOut);
int32_t AT_GPS_TestZqcust(AtRequest* pIn, AtResponse* pOut);
