// Another process holding a file open or a folder as its working folder while a Holder lives;
// given `as`, the process runs from a copy of its program made there, under that name.
#pragma once

#include <string>

namespace other_process {

enum class Hold { OpenFile, WorkingFolder };
struct OtherProcess;
OtherProcess* StartHolder(Hold how, const std::wstring& path, const std::wstring& as, std::string& why);
void StopHolder(OtherProcess* process);
bool RunningUnderWine();

class Holder {
public:
    Holder(Hold how, const std::wstring& path, const std::wstring& as = L"")
        : process(StartHolder(how, path, as, failure)) {}
    ~Holder() { Stop(); }
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;
    bool Started() const { return process != nullptr; }
    const std::string& Failure() const { return failure; }
    void Stop() { StopHolder(process), process = nullptr; }

private:
    std::string failure;
    OtherProcess* process;
};

} // namespace other_process
