/// Shows every field of the adapters of one host, then a few of them as CSV:
///
///     fields KEY USER HOST [PORT]
///
/// KEY is the agent's, as consumer.cpp takes it. Where the agent asks for a login, the first line
/// of standard input is the password.
#include <zwmgmt/result.h>
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

bool Connect(ZwMgmt_interface* session, char** argv, int argc, char* result) {
    const auto port = static_cast<uint16_t>(argc == 5 ? std::atoi(argv[4]) : 0);
    uint32_t status = session->CLConnectToServer(argv[3], argv[2], port, result);
    if (status == zwmgmt::kSuccess && session->LoginRequired()) {
        std::string password;
        std::getline(std::cin, password);
        session->SetPassword(password.c_str());
        status = session->CLAuthenticateUser(result);
    }
    if (status != zwmgmt::kSuccess) std::cerr << "fields: " << zwmgmt::StatusText(status) << "\n";
    return status == zwmgmt::kSuccess;
}

void Print(const zwmgmt::ResultValue& value) {
    switch (value.type) {
        case zwmgmt::ValueType::kAbsent: std::cout << "-"; break;
        case zwmgmt::ValueType::kInteger: std::cout << value.integer; break;
        case zwmgmt::ValueType::kUnsigned: std::cout << value.number; break;
        case zwmgmt::ValueType::kFlag: std::cout << (value.flag ? "yes" : "no"); break;
        case zwmgmt::ValueType::kText:
        case zwmgmt::ValueType::kList: std::cout << value.text; break;
    }
}

/// Returns whether the agent has answered with its adapters.
bool Show(ZwMgmt_interface* session, char* buffer) {
    const char* words[] = {"korvane", "listadapterprops"};
    zwmgmt::CommandWords command(words, 2);
    zwmgmt::Result result(*session, command.Request(), buffer);
    for (size_t record = 0; record < result.RecordCount(); ++record) {
        for (size_t i = 0; i < result.FieldCount(); ++i) {
            const zwmgmt::ResultField field = result.FieldAt(i);
            std::cout << record << ": " << field.name << " = ";
            Print(result.ValueAt(record, i));
            std::cout << (field.unit[0] != '\0' ? " " : "") << field.unit << "\n";
        }
    }
    std::string csv, error;
    if (result.Select("pci_bus_location,port_count", &error)) {
        result.Render(zwmgmt::ResultFormat::kCsv, &csv);
    }
    std::cout << csv << result.Message();
    return result.HasData();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4 && argc != 5) {
        std::cerr << "usage: fields KEY USER HOST [PORT]\n";
        return 2;
    }
    std::vector<char> buffer(zwmgmt::kResultBufferSize);
    ZwMgmt_interface session(zwmgmt::kNoTrustStore);
    session.VerifyByCaller(HasKey, argv[1]);
    const bool done = Connect(&session, argv, argc, buffer.data()) && Show(&session, buffer.data());
    session.CLDisconnectFromServer();
    return done ? 0 : 1;
}
