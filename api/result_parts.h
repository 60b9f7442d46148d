/// The insides of a result.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "output/records.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace zwmgmt {

/// What a reply handed out: a list or a block.
class HeldReply {
  public:
    explicit HeldReply(uint16_t list_command) : command(list_command) {}
    ~HeldReply() { ZwMgmt_interface::CLFreeMem(command, data); }
    HeldReply(const HeldReply&) = delete;
    HeldReply& operator=(const HeldReply&) = delete;

    void* data = nullptr;

  private:
    const uint16_t command;
};

/// One request's answer: outcome, data and talk, apart from each other.
struct ResultParts {
    /// Sends the request.
    ResultParts(ZwMgmt_interface& session, Client_Request_Message* request, char* result_buffer);
    const uint16_t command;
    const uint8_t os;
    uint32_t returned = 0;
    uint32_t status = 0;
    std::string outcome;
    std::vector<std::string> messages;
    HeldReply reply;
    uint32_t length = 0;
    const Description* what = nullptr;  // null: there are no data
    FieldList fields;
    std::optional<Records> records;  // of the data
};

/// Chooses fields by names, separated by commas. False, with the reason in *error, for a name that
/// the records do not have.
bool SelectFields(const Description& what, std::string_view names, FieldList* fields,
                  std::string* error);

}  // namespace zwmgmt
