/// Requests of the offload policies.
#include <charconv>

#include "cli/handler.h"
#include "cli/keys.h"
#include "zwmgmt/policy.h"
#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

namespace {

enum Operation : uint8_t { kAdd = 2, kModify = 3, kDelete = 4 };

/// What a command asks of a request: a text is said where the key is missing, null where it need
/// not be there.
struct PolicyCommand {
    Command command;
    Operation operation;
    const char* no_interface;
    const char* no_id;
    const char* no_policy;
    bool takes_policy;
};

constexpr PolicyCommand kAddCommand = {
    kAddPolicy,
    kAdd,
    "please specify IfName on which filter needs to be applied \n",
    nullptr,
    "please specify Policy\n",
    true};
constexpr PolicyCommand kModifyCommand = {
    kModifyPolicy,
    kModify,
    "please specify ifname for which offload policy needs to be applied\n",
    "please specify policy id\n",
    "please specify offload policy\n",
    true};
constexpr PolicyCommand kDeleteCommand = {kDeletePolicy,
                                          kDelete,
                                          "please specify policy id and ifName\n",
                                          "please specify policy id and ifName\n",
                                          nullptr,
                                          false};

/// What the keys say.
struct Given {
    const char* interface_name = nullptr;
    const char* policy = nullptr;
    uint8_t id = 0;  // 0: not given
};

/// Null, or what is wrong.
const char* Take(const Client_Request_Argument& key, const PolicyCommand& row, Given* given) {
    const std::string_view value = ValueOf(key);
    if (key.key == TmKey("ifname")) {
        given->interface_name = key.value;
        if (value.size() < sizeof(_OfldPolicy::interface_name)) return nullptr;
        return "the interface name is longer than 63 characters\n";
    }
    if (key.key == TmKey("policy") && row.takes_policy) {
        given->policy = key.value;
        return nullptr;
    }
    if (key.key != TmKey("id")) return "Invalid argument specified\n";
    const char* end = value.data() + value.size();
    const auto parsed = std::from_chars(value.data(), end, given->id);
    const bool sound = parsed.ec == std::errc() && parsed.ptr == end && given->id != 0;
    return sound ? nullptr : "Invalid Policy Index\n";
}

/// The first record of a policy, which may be a file's: "@FILE".
bool Compile(FILE* stream, bool quietly, const Given& given, _OfldPolicy* policy) {
    ParsePolicy parser(stream);
    if (quietly) parser.PrintNothing();
    std::vector<_OfldPolicy> policies;
    std::string error;
    const bool file = given.policy[0] == '@';
    const int failed =
        file ? parser.ParsePolicyFile(given.policy + 1, given.interface_name, &policies, &error)
             : parser.ParsePolicyString(given.policy, given.interface_name, &policies, &error);
    if (failed != 0 || policies.empty()) return false;
    *policy = policies.front();
    return true;
}

int BuildPolicy(ZwMgmt_interface& session, FILE* stream, const Client_Request_Message* request,
                _Message* message, const PolicyCommand& row) {
    Given given;
    for (const Client_Request_Argument& key : KeysOf(request)) {
        if (const char* wrong = Take(key, row, &given)) return Refuse(session, key, wrong);
    }
    if (given.interface_name == nullptr) return Refuse(session, row.no_interface);
    if (row.no_id != nullptr && given.id == 0) return Refuse(session, row.no_id);
    if (row.takes_policy && given.policy == nullptr) return Refuse(session, row.no_policy);
    _OfldPolicy payload = {};
    const bool quietly = Remarks::Of(session) != nullptr;
    if (row.takes_policy && !Compile(stream, quietly, given, &payload)) {
        return Refuse(session, "Invalid policy\n");
    }
    SetFixedText(payload.interface_name, given.interface_name);
    payload.operation = row.operation;
    payload.index = given.id;
    return Fill(session, message, kTm, row.command, &payload, sizeof(payload));
}

}  // namespace

int ZwMgmt_interface::CLAddPolicy(Client_Request_Message* request, _Message* message) {
    return BuildPolicy(*this, output_stream, request, message, kAddCommand);
}

int ZwMgmt_interface::CLModifyPolicy(Client_Request_Message* request, _Message* message) {
    return BuildPolicy(*this, output_stream, request, message, kModifyCommand);
}

int ZwMgmt_interface::CLDeletePolicy(Client_Request_Message* request, _Message* message) {
    return BuildPolicy(*this, output_stream, request, message, kDeleteCommand);
}

int ZwMgmt_interface::CLListPolicies(Client_Request_Message* /*request*/, _Message* message) {
    return Fill(*this, message, kTm, kListPolicies);
}
