#pragma once
// Everything the program asks of the desktop and the operating system, in one small table,
// so that the session logic never shows a box, plays a sound, starts a process, opens a URL,
// reads the clock or ends the process by itself. The application installs the real one;
// tests install a recording one that scripts the answers (tests/support).
//
// Texts here are UTF-8. Protocol text is GBK and is converted by the gbk module on its way in.

#include <chrono>
#include <string>
#include <vector>

namespace nq {

enum class BoxButtons { Ok, OkCancel };
enum class BoxIcon { None, Critical, Exclamation, Information, Question };
enum class BoxAnswer { Ok, Cancel };

class PlatformServices {
  public:
    virtual ~PlatformServices() = default;

    // A modal message box. It holds the caller (and so the pump) until answered.
    virtual BoxAnswer messageBox(const std::string& text, const std::string& title, BoxButtons buttons,
                                 BoxIcon icon) = 0;

    // Plays a sound file without waiting for it; a missing file or sound card is not an error.
    virtual void playSound(const std::string& path) = 0;

    // Starts a program detached from this one; false when it could not be started.
    virtual bool startDetached(const std::string& program, const std::vector<std::string>& args) = 0;

    virtual void openUrl(const std::string& url) = 0;

    virtual std::chrono::system_clock::time_point now() = 0;

    // Ends the process at once, with no further clean-up.
    virtual void exitProcess(int code) = 0;

    // A toast in the screen's corner: text, display time in ms (0 = until clicked), sound file.
    virtual void showToast(const std::string& text, int milliseconds, const std::string& soundPath) = 0;
};

}  // namespace nq
