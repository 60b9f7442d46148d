/// Requests of the offload policies.
#include <charconv>

#include "cli/handler.h"
#include "cli/keys.h"
#include "cli/remarks.h"
#include "platform/file.h"
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
    const Client_Request_Argument* policy = nullptr;
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
        given->policy = key.value != nullptr ? &key : nullptr;
        return nullptr;
    }
    if (key.key != TmKey("id")) return "Invalid argument specified\n";
    const char* end = value.data() + value.size();
    const auto parsed = std::from_chars(value.data(), end, given->id);
    const bool sound = parsed.ec == std::errc() && parsed.ptr == end && given->id != 0;
    return sound ? nullptr : "Invalid Policy Index\n";
}

/// Why a file of policies was not read, or is none.
std::string WhyNotRead(const char* name) {
    FILE* file = nullptr;
    uint64_t size = 0;
    const auto opened = platform::OpenRegularFile(name, &file, &size);
    if (file != nullptr) std::fclose(file);
    const bool found = opened == platform::OpenResult::kOpened;
    return "cannot read " + std::string(name) + ": " +
           (found ? "it cannot be read whole" : platform::WhyNot(opened));
}

/// The first record of a policy, which may be a file's: "@FILE".
bool Compile(ZwMgmt_interface& session, FILE* stream, const Given& given, _OfldPolicy* policy) {
    ParsePolicy parser(stream);
    if (Remarks::Of(session) != nullptr) parser.PrintNothing();
    std::vector<_OfldPolicy> policies;
    std::string error;
    const char* text = given.policy->value;
    const bool file = text[0] == '@';
    const int failed =
        file ? parser.ParsePolicyFile(text + 1, given.interface_name, &policies, &error)
             : parser.ParsePolicyString(text, given.interface_name, &policies, &error);
    if (Remarks::Of(session) != nullptr) {
        const int others = static_cast<int>(policies.size()) - 1;
        if (failed != 0) {
            Remarks::Refuse(
                session, *given.policy,
                file && error.empty() ? WhyNotRead(text + 1).c_str() : "it does not compile");
        } else if (policies.empty()) {
            Remarks::Refuse(session, *given.policy, "there is no rule in it");
        } else if (others > 0) {
            Remarks::Warn(session, *given.policy, ": the first rule is sent, %d more %s not",
                          others, others == 1 ? "is" : "are");
        }
    }
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
    if (row.takes_policy && !Compile(session, stream, given, &payload)) {
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
