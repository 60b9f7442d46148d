/// Requests of the offload policies.
#include "commands/arguments.h"
#include "commands/command_keys.h"
#include "commands/handler.h"
#include "commands/keys.h"
#include "commands/remarks.h"
#include "platform/file.h"
#include "zwmgmt/policy.h"

using namespace zwmgmt;

namespace {

enum Operation : uint8_t { kAdd = 2, kModify = 3, kDelete = 4 };

/// What the keys say; a policy is compiled when all of them are known.
struct Given {
    const char* interface_name;
    const Client_Request_Argument* policy;
    uint8_t id;  // 0: not given
};

Verdict SetInterface(ZwMgmt_interface* /*session*/, const Argument& /*row*/,
                     const Client_Request_Argument& key, void* record) {
    static_cast<Given*>(record)->interface_name = key.value;
    const bool fits = ValueOf(key).size() < sizeof(_OfldPolicy::interface_name);
    return fits ? Verdict{} : Wrong("the interface name is longer than 63 characters\n");
}

Verdict SetPolicy(ZwMgmt_interface* /*session*/, const Argument& /*row*/,
                  const Client_Request_Argument& key, void* record) {
    static_cast<Given*>(record)->policy = key.value != nullptr ? &key : nullptr;
    return {};
}

constexpr const char* kInvalidId = "Invalid Policy Index\n";

constexpr Argument kArguments[] = {
    ZWMGMT_ARGUMENT(Given, "ifname", Tm, interface_name, kOther, .set = SetInterface,
                    .takes = "a name of at most 63 characters"),
    ZWMGMT_ARGUMENT(Given, "id", Tm, id, kNumber, .rule = {1, 255, kInvalidId},
                    .read = Decimal<uint8_t>, .wrong = kInvalidId),
    ZWMGMT_ARGUMENT(Given, "policy", Tm, policy, kOther, .set = SetPolicy,
                    .takes = "a rule, or @FILE"),
};

constexpr Required kAdded[] = {
    {TmKey("ifname"), Required::kFilled,
     "please specify IfName on which filter needs to be applied \n"},
    {TmKey("policy"), Required::kFilled, "please specify Policy\n"},
};
constexpr Required kModified[] = {
    {TmKey("ifname"), Required::kFilled,
     "please specify ifname for which offload policy needs to be applied\n"},
    {TmKey("id"), Required::kFilled, "please specify policy id\n"},
    {TmKey("policy"), Required::kFilled, "please specify offload policy\n"},
};
constexpr const char* kNoPolicy = "please specify policy id and ifName\n";
constexpr Required kDeleted[] = {{TmKey("ifname"), Required::kFilled, kNoPolicy},
                                 {TmKey("id"), Required::kFilled, kNoPolicy}};

constexpr RequestForm Form(Command command, std::span<const Argument> arguments,
                           std::span<const Required> required) {
    return {.service = kTm,
            .command = command,
            .record_size = sizeof(_OfldPolicy),
            .arguments = arguments,
            .required = required,
            .unknown = "Invalid argument specified\n"};
}

constexpr RequestForm kAddForm = Form(kAddPolicy, kArguments, kAdded);
constexpr RequestForm kModifyForm = Form(kModifyPolicy, kArguments, kModified);
constexpr RequestForm kDeleteForm = Form(kDeletePolicy, std::span(kArguments).first(2), kDeleted);

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
bool Compile(ZwMgmt_interface& session, const Given& given, _OfldPolicy* policy) {
    ParsePolicy parser;
    parser.PrintNothing();  // the session does
    std::vector<_OfldPolicy> policies;
    std::string error;
    const char* text = given.policy->value;
    const bool file = text[0] == '@';
    const int failed =
        file ? parser.ParsePolicyFile(text + 1, given.interface_name, &policies, &error)
             : parser.ParsePolicyString(text, given.interface_name, &policies, &error);
    if (failed != 0 && !error.empty()) session.PrintOutput("%s\n", error.c_str());
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

int BuildPolicy(ZwMgmt_interface& session, const Client_Request_Message* request, _Message* message,
                const RequestForm& form, Operation operation) {
    Given given = {};
    const auto keys = KeysOf(request);
    if (const int refused = ReadArguments(session, keys, form, &given)) return refused;
    if (const int refused = CheckRequired(session, keys, form, &given)) return refused;
    _OfldPolicy payload = {};
    if (given.policy != nullptr && !Compile(session, given, &payload)) {
        return Refuse(session, "Invalid policy\n");
    }
    SetFixedText(payload.interface_name, given.interface_name);
    payload.operation = operation;
    payload.index = given.id;
    return Fill(session, message, form.service, form.command, &payload, sizeof(payload));
}

}  // namespace

std::span<const RequestForm* const> zwmgmt::PolicyForms() {
    static constexpr const RequestForm* kForms[] = {&kAddForm, &kModifyForm, &kDeleteForm};
    return kForms;
}

int ZwMgmt_interface::CLAddPolicy(Client_Request_Message* request, _Message* message) {
    return BuildPolicy(*this, request, message, kAddForm, kAdd);
}

int ZwMgmt_interface::CLModifyPolicy(Client_Request_Message* request, _Message* message) {
    return BuildPolicy(*this, request, message, kModifyForm, kModify);
}

int ZwMgmt_interface::CLDeletePolicy(Client_Request_Message* request, _Message* message) {
    return BuildPolicy(*this, request, message, kDeleteForm, kDelete);
}

int ZwMgmt_interface::CLListPolicies(Client_Request_Message* /*request*/, _Message* message) {
    return Fill(*this, message, kTm, kListPolicies);
}
