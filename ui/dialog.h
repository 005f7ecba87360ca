// A dialog window bound to one object. All dialogs share one dialog procedure;
// each class declares the messages it wants and receives them in HandleMessage.
#pragma once

#include "ui/base_window.h"

#include <cstdint>
#include <exception>
#include <initializer_list>
#include <map>
#include <string>
#include <unordered_set>

class Dialog : public BaseWindow {
public:
    // Makes the dialog from its template. Modal: returns once the dialog has
    // ended, and the handle it returns names a window that is gone. Nothing tells
    // how it ended; the caller looks at what the dialog changed.
    HWND Create(HWND parent, std::uint16_t templateId, bool modal);

    void HandleMessages(std::initializer_list<std::uint32_t> messages);
    virtual INT_PTR HandleMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

    // What the creator hands to the dialog before it exists; not owned.
    void SetParameter(const std::wstring& name, void* value);
    void* GetParameter(const std::wstring& name) const;

    // A handler's exception cannot travel through the system's dispatch code; it
    // is kept and raised again by the message loop once dispatch has returned.
    static void RethrowPending();

protected:
    std::unordered_set<std::uint32_t> handledMessages;
    std::map<std::wstring, void*> parameters;

private:
    static INT_PTR CALLBACK DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

    bool modal = false;
    static std::exception_ptr pending;
};
