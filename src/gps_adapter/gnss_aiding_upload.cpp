// ^GPSCFGDATA and ^LTODATA: chunked uploads of a configuration document (base64) and of LTO aiding
// data (hexadecimal), each chunk checked, converted and handed to the GNSS client at once.
#include <cstring>

#include "gnss_state.h"
#include "gps_at_handlers.h"
#include "gpsclient.h"
#include "osa.h"
#include "tandrel_core.h"
#include "tandrel_trace.h"
#include "text_convert.h"

namespace {

// Every chunk but the last carries exactly this many characters of data.
constexpr uint32_t kChunkChars = 512;
constexpr uint32_t kChunkParaLen = kChunkChars + 2;  // with its quotes
constexpr uint32_t kChunkParams = 5;
constexpr int32_t kXmlMaxChunks = 160;
constexpr int32_t kLtoMaxChunks = 320;

enum class Upload { kXml, kLto };

int32_t refuse(AtResponse* pOut, const char* trace) {
    return gnss_refuse(pOut, GPS_RET_BAD_VALUE, trace);
}

// The integer a parameter's text spells, whole.
bool para_int(const AtCmdParam& p, int32_t* value) {
    const std::string_view t = at_para_text(p);
    char text[16];
    if (t.size() >= sizeof text) {
        return false;
    }
    memcpy(text, t.data(), t.size());
    text[t.size()] = '\0';
    return string_change_int_number(value, text) == 1;
}

int32_t upload_chunk(Upload kind, AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (pIn->m_para_count != kChunkParams) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "not enough params!\r\n");
        at_set_error(pOut, GPS_RET_PARAM_COUNT);
        return TANDREL_FAIL;
    }
    const bool lto = kind == Upload::kLto;
    const int32_t max = lto ? kLtoMaxChunks : kXmlMaxChunks;
    const AtCmdParam* para = pIn->m_para_list;

    int32_t total = 0;
    if (!para_int(para[0], &total)) {
        return refuse(pOut, "change to number error!\r\n");
    }
    if (total > max) {
        return refuse(pOut, "the total larger than the MAX!\r\n");
    }
    int32_t index = 0;
    if (!para_int(para[1], &index)) {
        return refuse(pOut, "change to number error!\r\n");
    }
    if (index > max) {
        return refuse(pOut, "the index larger than the MAX!\r\n");
    }
    if (index > total) {
        return refuse(
            pOut, lto ? "the index larger than the MAX!\r\n" : "the index larger than total!\r\n");
    }
    int32_t length = 0;
    if (!para_int(para[3], &length)) {
        return refuse(pOut, "change to number error!\r\n");
    }
    if (lto) {
        TANDREL_TRACE(TRACE_LEVEL_INFO, "the length = [%d]\r\n", length);
    }
    const AtCmdParam& data = para[2];
    if (static_cast<int64_t>(length) + 2 != data.usParaLen) {
        return refuse(pOut, "the data length have error!\r\n");
    }
    int32_t fifth = 0;
    if (!para_int(para[4], &fifth)) {
        return refuse(pOut, "change to number error!\r\n");
    }
    if (fifth != 1) {
        return refuse(pOut, "the fifth parameter have error!\r\n");
    }
    if (index == total) {
        if (data.usParaLen > kChunkParaLen) {
            return refuse(pOut, "the data and data length have error2!\r\n");
        }
    } else if (data.usParaLen != kChunkParaLen) {
        return refuse(pOut, "the data and data length have error1!\r\n");
    }

    // usParaLen is now at most 514, within the 561-byte field.
    char text[kChunkChars + 1] = {};
    if (gps_quotes_out(data.aucPara, text, data.usParaLen) != 1) {
        return refuse(pOut, "quotes is error!\r\n");
    }
    const auto chars = static_cast<uint32_t>(length);
    int32_t err = 0;
    int32_t ok = 0;
    if (lto) {
        uint8_t bytes[kChunkChars / 2 + 1] = {};
        uint32_t n = 0;
        if (hex_to_ascii(text, bytes, chars, &n) != 1) {
            return refuse(pOut, "hex to hex is error\r\n");
        }
        GpsLtoDataChunk lto_chunk;
        osa_memset_s(&lto_chunk, sizeof lto_chunk, 0, sizeof lto_chunk);
        lto_chunk.total = total;
        lto_chunk.index = index;
        osa_memcpy_s(lto_chunk.data, kChunkChars, bytes, n);
        lto_chunk.length = static_cast<int32_t>(n);
        ok = gpsclient_LTOdata(GPS_OP_SET, &lto_chunk, &err);
    } else {
        uint8_t bytes[kChunkChars + 1] = {};
        uint32_t n = 0;
        if (AtBase64Decode(text, chars, bytes, chars, &n) != 0) {
            return refuse(pOut, "AtBase64Decode is error!\r\n");
        }
        GpsXmlDataChunk xml;
        osa_memset_s(&xml, sizeof xml, 0, sizeof xml);
        xml.total = total;
        xml.index = index;
        osa_memcpy_s(xml.data, kChunkChars, bytes, n);
        ok = gpsclient_xmldata(GPS_OP_SET, &xml, &err);
    }
    if (ok == 0) {
        return gnss_client_failed(pOut, err);
    }
    at_set_text(pOut, AT_TEXT_OK);
    return TANDREL_OK;
}

}  // namespace

int32_t AT_GPS_SetXmlData(AtRequest* pIn, AtResponse* pOut) {
    return upload_chunk(Upload::kXml, pIn, pOut);
}

int32_t AT_GPS_SetLtoData(AtRequest* pIn, AtResponse* pOut) {
    return upload_chunk(Upload::kLto, pIn, pOut);
}
