/// Lists the adapters of one host, a line each:
///
///     consumer KEY USER HOST [PORT]
///
/// KEY is what the agent has to show before anything is sent to it: "SHA256:" and 43 characters, as
/// `korvane_zwcli agents scan HOST` prints it. Where the agent asks for a login, the first line of
/// standard input is the password.
#include <zwmgmt/zwmgmt_interface.h>

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

namespace {

bool HasKey(void* key, const zwmgmt::Peer& agent) {
    return std::strcmp(agent.fingerprint, static_cast<const char*>(key)) == 0;
}

uint32_t Connect(ZwMgmt_interface* session, const char* user, const char* host, const char* port,
                 char* result) {
    const auto port_number = static_cast<uint16_t>(std::atoi(port));
    const uint32_t status = session->CLConnectToServer(host, user, port_number, result);
    if (status != zwmgmt::kSuccess || !session->LoginRequired()) return status;

    std::string password;
    std::getline(std::cin, password);
    session->SetPassword(password.c_str());
    return session->CLAuthenticateUser(result);
}

/// Prints the adapters and returns the status of the session, or else of the agent.
uint32_t List(ZwMgmt_interface* session, char* result) {
    const char* words[] = {"korvane", "listadapterprops"};
    zwmgmt::CommandWords command(words, 2);
    void* list = nullptr;
    session->SetBuildListMode();
    const int status = session->Client_ProcessRequest(command.Request(), result, &list);
    for (auto* card = static_cast<_CardInformation*>(list); card != nullptr; card = card->next) {
        std::cout << zwmgmt::FixedText(card->pci_bus_location) << "  "
                  << zwmgmt::FixedText(card->card_name) << "  " << int{card->port_count}
                  << " ports\n";
    }
    ZwMgmt_interface::CLFreeMem(zwmgmt::kListAdapterProps, list);
    return status != 0 ? static_cast<uint32_t>(status) : session->LastStatus();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4 && argc != 5) {
        std::cerr << "usage: consumer KEY USER HOST [PORT]\n";
        return 2;
    }
    std::vector<char> result(zwmgmt::kResultBufferSize);
    ZwMgmt_interface session(zwmgmt::kNoTrustStore);
    session.VerifyByCaller(HasKey, argv[1]);
    uint32_t status = Connect(&session, argv[2], argv[3], argc == 5 ? argv[4] : "0", result.data());
    if (status == zwmgmt::kSuccess) status = List(&session, result.data());
    session.CLDisconnectFromServer();
    if (status == zwmgmt::kSuccess) return 0;
    std::cerr << "consumer: " << zwmgmt::StatusText(status) << " (zwmgmt " << zwmgmt::Version()
              << ")\n";
    return 1;
}
