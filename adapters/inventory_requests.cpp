/// Requests of the adapter inventory.
#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

int ZwMgmt_interface::CLGetKorvaneAdapters(Client_Request_Message* /*request*/, _Message* message) {
    message->service = kKorvane;
    message->opcode = kListAdapterProps;
    return 0;
}
