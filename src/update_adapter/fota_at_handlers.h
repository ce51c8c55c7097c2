// AT command handlers of the FOTA adapter, as the command table names them.
#pragma once

#include "at_record.h"

// ^FOTAMODE
int32_t At_SetFotaMode(AtRequest* pIn, AtResponse* pOut);
int32_t At_GetFotaMode(AtRequest* pIn, AtResponse* pOut);
int32_t At_TestFotaMode(AtRequest* pIn, AtResponse* pOut);
// ^FOTACFG
int32_t At_SetCfgPara(AtRequest* pIn, AtResponse* pOut);
int32_t At_GetCfgPara(AtRequest* pIn, AtResponse* pOut);
// ^FOTADET
int32_t At_CheckNewVersion(AtRequest* pIn, AtResponse* pOut);
// ^FOTADL
int32_t At_DownNewVersion(AtRequest* pIn, AtResponse* pOut);
int32_t At_TestDownNewVersion(AtRequest* pIn, AtResponse* pOut);
// ^FWUP
int32_t At_InstallerNewVersion(AtRequest* pIn, AtResponse* pOut);
// ^FOTASTATE
int32_t At_QueryUpdateState(AtRequest* pIn, AtResponse* pOut);
// ^FOTADLQ
int32_t At_CheckDownloadProgress(AtRequest* pIn, AtResponse* pOut);
// ^FOTAP
int32_t At_PolicyIsStartFota(AtRequest* pIn, AtResponse* pOut);
int32_t At_QueryFotasmsPolicy(AtRequest* pIn, AtResponse* pOut);
int32_t At_TestFotasmsPolicy(AtRequest* pIn, AtResponse* pOut);
// ^FOTASMSCFG
int32_t At_SetFotasmsCfg(AtRequest* pIn, AtResponse* pOut);
int32_t At_QueryFotasmsCfg(AtRequest* pIn, AtResponse* pOut);
int32_t At_TestFotasmsCfg(AtRequest* pIn, AtResponse* pOut);
// ^FOTAOEMDL
int32_t At_DownNewVersion_ex(AtRequest* pIn, AtResponse* pOut);
int32_t At_TestDownNewVersion_ex(AtRequest* pIn, AtResponse* pOut);
