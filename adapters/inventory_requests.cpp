/// Requests of the adapter inventory.
#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

int ZwMgmt_interface::CLGetKorvaneAdapters(Client_Request_Message* request, _Message* message) {
    const bool has_sub_command =
        request->argument_count > 0 && request->arguments[0].value[0] != '\0';
    if (has_sub_command || request->argument_count > 1) {
        PrintOutput("Invalid argument specified\n");
        return 1;
    }
    message->service = kKorvane;
    message->opcode = kListAdapterProps;
    return 0;
}
