/// The library's one voice, and the way from a reply to its printer.
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "cli/remarks.h"
#include "cli/routes.h"
#include "output/talk.h"

using namespace zwmgmt;

void ZwMgmt_interface::SetBuildListMode() { build_list_mode = true; }
void ZwMgmt_interface::ResetBuildListMode() { build_list_mode = false; }

int ZwMgmt_interface::PrintOutput(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int printed =
        remarks != nullptr ? AppendPrinted(&remarks->printed, format, arguments)
        : talk != nullptr
            ? talk->Take(format, arguments)
            : std::vfprintf(output_stream != nullptr ? output_stream : stdout, format, arguments);
    va_end(arguments);
    return printed;
}

int ZwMgmt_interface::CLPrintMsg(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    while (*format != '\0') {
        const size_t plain = std::strcspn(format, "%");
        if (plain != 0) PrintOutput("%.*s", static_cast<int>(plain), format);
        format += plain;
        if (*format == '\0') break;
        switch (*++format) {
            case '%': PrintOutput("%%"); break;
            case 'c': PrintOutput("%c", va_arg(arguments, int)); break;
            case 'd': PrintOutput("%d", va_arg(arguments, int)); break;
            case 's': PrintOutput("%s", va_arg(arguments, const char*)); break;
            default: break;
        }
        if (*format != '\0') ++format;
    }
    va_end(arguments);
    return 0;
}

void ZwMgmt_interface::FlushOutput() {
    std::fflush(output_stream != nullptr ? output_stream : stdout);
}

int ZwMgmt_interface::CLPrint(void* output, int command, _Message* message) {
    if (message == nullptr) return 1;
    if (message->status == kNotSupported) {
        std::fputs("The Command is not supported by the server.\n", stderr);
        return kNotSupported;
    }
    if (command == 0) return 0;
    // The command numbers of msteam overlap with the others'; it has no printer of its own yet.
    const Route* route = message->service == kMsteam || command >= kFirstUnusedCommand
                             ? nullptr
                             : FindRoute(command);
    if (route == nullptr) {
        PrintOutput("Response received for invalid command!\n");
        return 1;
    }
    if (!build_list_mode && route->print != nullptr) route->print(*this, output, message);
    return 0;
}
