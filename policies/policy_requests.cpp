/// Requests of the offload policies.
#include <new>

#include "commands/arguments.h"
#include "commands/command_keys.h"
#include "commands/handler.h"
#include "commands/keys.h"
#include "commands/remarks.h"
#include "policies/compiled_rules.h"
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

/// What became of a policy's rules.
struct Compiled {
    size_t rules = 0;
    std::string refused;  // why it cannot be sent, "" where it can
    std::string said;     // what the library says of a wrong rule
    _OfldPolicy first = {};
};

/// The policy may be a file's: "@FILE".
Compiled CompileText(const char* given) {
    Compiled compiled;
    std::string text;
    const bool file = given[0] == '@';
    if (file && !policy::ReadText(given + 1, policy::Source::kFile, &text, &compiled.refused)) {
        compiled.refused.insert(0, "cannot read " + std::string(given + 1) + ": ");
        return compiled;
    }
    policy::CompiledRules rules(file ? std::string_view(text) : given,
                                file ? policy::Layout::kContinued : policy::Layout::kPlain);
    for (; rules.Next(); ++compiled.rules) {
        if (!rules.IsRight()) {
            compiled.refused = "it does not compile";
            compiled.said = rules.Error();
            return compiled;
        }
        if (compiled.rules == 0) compiled.first = rules.Record();
    }
    if (compiled.rules == 0) compiled.refused = "there is no rule in it";
    return compiled;
}

Compiled Compile(const char* given) {
    try {
        return CompileText(given);
    } catch (const std::bad_alloc&) {
        return {.refused = "out of memory", .said = {}};
    }
}

/// The first record of a policy, and remarks on the rest.
bool TakeFirst(ZwMgmt_interface& session, const Given& given, _OfldPolicy* policy) {
    const Compiled compiled = Compile(given.policy->value);
    if (!compiled.said.empty()) session.PrintOutput("%s\n", compiled.said.c_str());
    if (Remarks::Of(session) != nullptr) {
        const int others = static_cast<int>(compiled.rules) - 1;
        if (!compiled.refused.empty()) {
            Remarks::Refuse(session, *given.policy, compiled.refused.c_str());
        } else if (others > 0) {
            Remarks::Warn(session, *given.policy, ": the first rule is sent, %d more %s not",
                          others, others == 1 ? "is" : "are");
        }
    }
    *policy = compiled.first;
    return compiled.refused.empty();
}

int BuildPolicy(ZwMgmt_interface& session, const Client_Request_Message* request, _Message* message,
                const RequestForm& form, Operation operation) {
    Given given = {};
    const auto keys = KeysOf(request);
    if (const int refused = ReadArguments(session, keys, form, &given)) return refused;
    if (const int refused = CheckRequired(session, keys, form, &given)) return refused;
    _OfldPolicy payload = {};
    if (given.policy != nullptr && !TakeFirst(session, given, &payload)) {
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
