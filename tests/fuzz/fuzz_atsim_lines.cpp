// Any bytes typed on a port of the simulated driver: line assembly, command-line parsing, the
// request built.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "command_line.h"
#include "fuzz_support.h"
#include "nl_channel.h"
#include "registration.h"

namespace {

// The daemon's own registration, as the driver parses it at start.
const atsim::Registration& registration() {
    static const atsim::Registration reg = [] {
        const NlRegistrationSize size = nl_registration_size(g_at_cmd_table);
        std::vector<uint8_t> msg(size.buffer_size);
        nl_build_registration(g_at_cmd_table, 0, 1234, msg.data(), size.buffer_size);
        std::string why;
        auto parsed =
            atsim::parse_registration(std::span<const uint8_t>(msg.data(), size.nlmsg_len),
                                      {AT_CMD_COUNT, AT_CMD_TABLE_REG_LEN}, &why);
        fuzz::require(parsed.has_value());
        return *parsed;
    }();
    return reg;
}

void check_request(const AtRequest& req, const atsim::CommandRow& row) {
    fuzz::require(req.m_para_count <= AT_MAX_PARAS && req.m_atcmd[sizeof req.m_atcmd - 1] == '\0' &&
                  row.name == req.m_atcmd);
    for (uint32_t i = 0; i < req.m_para_count; ++i) {
        const AtCmdParam& p = req.m_para_list[i];
        const size_t text = strnlen(p.aucPara, sizeof p.aucPara);
        fuzz::require(text < sizeof p.aucPara && p.usParaLen <= atsim::kMaxParamText &&
                      (p.usParaLen == 0 || p.usParaLen == text));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const atsim::Registration& reg = registration();
    atsim::LineAssembler assembler;
    for (size_t i = 0; i < size; ++i) {
        if (assembler.feed(static_cast<char>(data[i])) != atsim::LineAssembler::Fed::LineEnd) {
            continue;
        }
        bool overflowed = false;
        const std::string line = assembler.take(&overflowed);
        fuzz::require(line.size() <= atsim::kMaxLineLength);
        const atsim::CommandLine cl = atsim::parse_command_line(line);
        fuzz::require(cl.kind != atsim::CommandLine::Kind::Invalid || !cl.why.empty());
        if (cl.kind != atsim::CommandLine::Kind::Extended) {
            continue;
        }
        fuzz::require(cl.params.size() <= AT_MAX_PARAS && cl.name.size() < AT_CMD_NAME_SIZE);
        const atsim::CommandRow* row = reg.find(cl.name);
        if (row == nullptr) {
            continue;
        }
        AtRequest req;
        std::string why;
        if (atsim::build_request(cl, *row, static_cast<uint32_t>(i % 64), req, &why)) {
            check_request(req, *row);
        } else {
            fuzz::require(!why.empty());
        }
    }
    return 0;
}
