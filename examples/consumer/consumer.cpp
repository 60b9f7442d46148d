#include <zwmgmt/zwmgmt_interface.h>

#include <cstdio>

int main() {
    const char* words[] = {"korvane", "listadapterprops"};
    zwmgmt::CommandWords command(words, 2);
    const Client_Request_Message request = *command.Request();
    std::printf("%s %s is service %d, command %d\n", words[0], words[1], int{request.service},
                int{request.command});
}
