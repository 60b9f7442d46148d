#include "tests/process.h"

#define NTDDI_VERSION 0x0A000006  // pseudo consoles came with Windows 10, version 1809
#include <aclapi.h>
#include <sddl.h>
#include <windows.h>

#include <array>
#include <fstream>
#include <regex>
#include <stdexcept>
#include <thread>
#include <utility>

#include "zwmgmt/zwmgmt_interface.h"

namespace testing_support {
namespace {

struct CloseOne {
    void operator()(void* handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, CloseOne>;

constexpr int kTries = 5;

void Require(bool done, const char* what) {
    if (done) return;
    throw std::runtime_error(std::string("cannot ") + what + ": error " +
                             std::to_string(GetLastError()));
}

struct Pipe {
    Pipe() {
        HANDLE read_end = nullptr;
        HANDLE write_end = nullptr;
        Require(CreatePipe(&read_end, &write_end, nullptr, 0), "make a pipe");
        read.reset(read_end);
        write.reset(write_end);
    }
    Handle read;
    Handle write;
};

HANDLE LetInherit(const Handle& handle) {
    SetHandleInformation(handle.get(), HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    return handle.get();
}

/// Appends what is there to read; false at the end.
bool ReadSome(const Handle& pipe, std::string* text) {
    char buffer[4096];
    DWORD got = 0;
    if (!ReadFile(pipe.get(), buffer, sizeof(buffer), &got, nullptr) || got == 0) return false;
    text->append(buffer, got);
    return true;
}

/// The rest of what comes through the pipe, with its line ends as the tests write them.
std::string ReadText(const Handle& pipe) {
    std::string text;
    while (ReadSome(pipe, &text)) {
    }
    return std::regex_replace(text, std::regex("\r\n"), "\n");
}

/// One argument as the C runtime of the other side takes it apart.
std::string Quoted(const std::string& argument) {
    std::string quoted = "\"";
    size_t backslashes = 0;
    for (const char c : argument) {
        if (c == '"') quoted.append(backslashes + 1, '\\');
        backslashes = c == '\\' ? backslashes + 1 : 0;
        quoted += c;
    }
    return quoted.append(backslashes, '\\') + '"';
}

std::string CommandLine(const std::vector<std::string>& arguments) {
    std::string line;
    for (const std::string& argument : arguments) line += Quoted(argument) + ' ';
    return line;
}

/// A console that shows on a pipe.
class Console {
  public:
    Console() {
        Require(CreatePseudoConsole({250, 100}, keyboard.read.get(), screen.write.get(), 0,
                                    &console) == S_OK,
                "make a console");
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        memory.resize(size);
        Require(InitializeProcThreadAttributeList(Attributes(), 1, 0, &size) &&
                    UpdateProcThreadAttribute(Attributes(), 0, PROC_THREAD_ATTRIBUTE_PSEUDOCONSOLE,
                                              console, sizeof(console), nullptr, nullptr),
                "use a console");
    }
    ~Console() { Close(); }
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    LPPROC_THREAD_ATTRIBUTE_LIST Attributes() {
        return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory.data());
    }
    const Handle& Screen() const { return screen.read; }

    /// Ends what the screen shows.
    void Close() {
        if (console != nullptr) ClosePseudoConsole(console);
        console = nullptr;
        screen.write.reset();
    }

  private:
    Pipe keyboard;
    Pipe screen;
    HPCON console = nullptr;
    std::vector<char> memory;
};

/// Starts a program with these standard streams; within a console of its own, or without any.
Handle Start(std::string command_line, const std::array<HANDLE, 3>& streams, Console* console,
             DWORD* id = nullptr) {
    STARTUPINFOEXA start = {};
    start.StartupInfo.cb = sizeof(start);
    start.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    start.StartupInfo.hStdInput = streams[0];
    start.StartupInfo.hStdOutput = streams[1];
    start.StartupInfo.hStdError = streams[2];
    if (console != nullptr) start.lpAttributeList = console->Attributes();
    const DWORD flags =
        EXTENDED_STARTUPINFO_PRESENT | (console == nullptr ? DETACHED_PROCESS : DWORD{0});
    PROCESS_INFORMATION process = {};
    // A busy Wine fails to start one program of some ten thousand; the next try does it.
    bool started = false;
    for (int tries = 0; tries < kTries && !started; ++tries) {
        started = CreateProcessA(nullptr, command_line.data(), nullptr, nullptr, TRUE, flags,
                                 nullptr, nullptr, &start.StartupInfo, &process);
    }
    Require(started, "start a program");
    CloseHandle(process.hThread);
    if (id != nullptr) *id = process.dwProcessId;
    return Handle(process.hProcess);
}

int ExitStatus(const Handle& process) {
    WaitForSingleObject(process.get(), INFINITE);
    DWORD status = 0;
    GetExitCodeProcess(process.get(), &status);
    return static_cast<int>(status);
}

/// Makes another process's console this one's, until it goes.
class AtConsoleOf {
  public:
    explicit AtConsoleOf(DWORD process) {
        FreeConsole();
        Require(AttachConsole(process), "sit down at a program's console");
    }
    ~AtConsoleOf() { FreeConsole(); }
    AtConsoleOf(const AtConsoleOf&) = delete;
    AtConsoleOf& operator=(const AtConsoleOf&) = delete;

    void Type(const std::string& line) {
        const Handle input(CreateFileA("CONIN$", GENERIC_READ | GENERIC_WRITE,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                       0, nullptr));
        for (const char c : line) {
            INPUT_RECORD key = {};
            key.EventType = KEY_EVENT;
            key.Event.KeyEvent.bKeyDown = TRUE;
            key.Event.KeyEvent.wRepeatCount = 1;
            if (c == '\n') key.Event.KeyEvent.wVirtualKeyCode = VK_RETURN;
            key.Event.KeyEvent.uChar.UnicodeChar = c == '\n' ? L'\r' : static_cast<wchar_t>(c);
            DWORD written = 0;
            Require(WriteConsoleInputW(input.get(), &key, 1, &written), "type");
        }
    }
    void PressCtrlC() {
        // It comes here, too. Switched off, it would be so for programs that start later.
        SetConsoleCtrlHandler([](DWORD) -> BOOL { return TRUE; }, TRUE);
        Require(GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0), "press Ctrl-C");
    }
};

/// What a person reads on a screen that was written with these bytes.
std::string OnScreen(const std::string& bytes) {
    const std::string spaced = std::regex_replace(bytes, std::regex("\x1b\\[1C"), " ");
    return std::regex_replace(spaced, std::regex("\x1b\\[[?0-9;]*[A-Za-z]"), "");
}

}  // namespace

ProcessResult RunProcess(const std::vector<std::string>& arguments, const std::string& input,
                         bool takes_output) {
    const Handle read_only(CreateFileA("NUL", GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    Pipe in;
    Pipe out;
    Pipe err;
    const Handle process =
        Start(CommandLine(arguments),
              {LetInherit(in.read), LetInherit(takes_output ? out.write : read_only),
               LetInherit(err.write)},
              nullptr);
    for (Handle* end : {&in.read, &out.write, &err.write}) end->reset();
    DWORD written = 0;
    WriteFile(in.write.get(), input.data(), static_cast<DWORD>(input.size()), &written, nullptr);
    in.write.reset();
    ProcessResult result;
    std::thread errors([&] { result.err = ReadText(err.read); });
    result.out = ReadText(out.read);
    errors.join();
    result.exit_status = ExitStatus(process);
    return result;
}

ProcessResult RunOnTerminal(const std::vector<std::string>& arguments,
                            const std::vector<Typed>& typed) {
    Console console;
    DWORD id = 0;
    // The shell gives the program the console as its standard streams.
    const Handle process =
        Start("cmd /c \"" + CommandLine(arguments) + "<CONIN$ >CONOUT$ 2>&1\"", {}, &console, &id);
    std::string shown;
    std::thread typist([&] {
        size_t seen = 0;
        for (auto next = typed.begin(); ReadSome(console.Screen(), &shown);) {
            if (next == typed.end()) continue;
            const std::string wanted = next->after.substr(0, next->after.find_last_not_of(' ') + 1);
            const std::string screen = OnScreen(shown);
            if (screen.find(wanted, std::min(seen, screen.size())) == std::string::npos) continue;
            seen = screen.size();
            if (next->before) next->before();
            AtConsoleOf(id).Type(next->keys);
            ++next;
        }
    });
    ProcessResult result;
    result.exit_status = ExitStatus(process);
    console.Close();
    typist.join();
    result.out = OnScreen(shown);
    return result;
}

struct BackgroundProcess::Process {
    Console console;
    Pipe output;
    DWORD id = 0;
    Handle handle;
};

BackgroundProcess::BackgroundProcess(const std::vector<std::string>& arguments)
    : process(std::make_unique<Process>()) {
    process->handle =
        Start(CommandLine(arguments), {nullptr, LetInherit(process->output.write), {}},
              &process->console, &process->id);
    process->output.write.reset();
}

BackgroundProcess::~BackgroundProcess() {
    TerminateProcess(process->handle.get(), 1);  // unless it has ended
    ExitStatus(process->handle);
}

std::string BackgroundProcess::ReadLine() {
    std::string line;
    DWORD got = 0;
    for (char c; ReadFile(process->output.read.get(), &c, 1, &got, nullptr) && got == 1;) {
        if (c == '\n') break;
        if (c != '\r') line.push_back(c);
    }
    return line;
}

int BackgroundProcess::Terminate() {
    AtConsoleOf(process->id).PressCtrlC();
    return ExitStatus(process->handle);
}

CredentialsHome::CredentialsHome() {
    char path[MAX_PATH];
    Require(ZwMgmt_interface::GetZMFileName(zwmgmt::kCredentialsFile, path, sizeof(path)) == 0,
            "tell where credentials are stored");
    credentials = path;
    Require(!exists(credentials), "touch the credentials that are there");
    create_directories(credentials.parent_path());
}

CredentialsHome::~CredentialsHome() { std::filesystem::remove(credentials); }

void CredentialsHome::Write(const std::string& text, bool readable_by_others) const {
    std::ofstream(credentials, std::ios::binary) << text;
    SetReadableByOthers(credentials.string(), readable_by_others);
}

void SetReadableByOthers(const std::string& file, bool readable) {
    std::string path = file;
    PSID owner = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    Require(GetNamedSecurityInfoA(path.data(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner,
                                  nullptr, nullptr, nullptr, &descriptor) == ERROR_SUCCESS,
            "tell a file's owner");
    char* name = nullptr;
    Require(ConvertSidToStringSidA(owner, &name), "name a file's owner");
    const std::string list = "D:P(A;;FA;;;" + std::string(name) + ")" +
                             (readable ? "(A;;FR;;;WD)" : "");  // WD is everybody
    LocalFree(name);
    LocalFree(descriptor);
    Require(ConvertStringSecurityDescriptorToSecurityDescriptorA(list.c_str(), SDDL_REVISION_1,
                                                                 &descriptor, nullptr),
            "read a list of rights");
    const bool set = SetFileSecurityA(path.c_str(), DACL_SECURITY_INFORMATION, descriptor);
    LocalFree(descriptor);
    Require(set, "set who may read");
}

std::vector<std::string> CredentialsHome::Within(std::vector<std::string> arguments) const {
    return arguments;
}

std::vector<std::string> FilesThatAreNotRegular(const std::string& scratch) {
    const std::string pipe = R"(\\.\pipe\)" + std::filesystem::path(scratch).filename().string();
    // Closed with the process: the caller tries to open it.
    CreateNamedPipeA(pipe.c_str(), PIPE_ACCESS_DUPLEX, 0, 1, 0, 0, 0, nullptr);
    return {"NUL", pipe};
}

FILE* OpenScratchFile() {
    // The C library's own keeps to a few names that all processes share.
    char path[MAX_PATH];
    const std::string folder = std::filesystem::temp_directory_path().string();
    Require(GetTempFileNameA(folder.c_str(), "zwm", 0, path) != 0, "name a file");
    return std::fopen(path, "w+bTD");  // temporary, deleted when it is closed
}

int OwnProcessId() { return static_cast<int>(GetCurrentProcessId()); }
uintptr_t OwnThreadId() { return GetCurrentThreadId(); }

}  // namespace testing_support
