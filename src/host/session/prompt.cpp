// The prompt: lines of a terminal, with editing and the history of the session, become lines of a program.
#include <histedit.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "host/session/interrupt.h"
#include "host/session/session.h"

namespace vek {

namespace {

const char* current_prompt = "vek> ";

const char* prompt_of(EditLine*) { return current_prompt; }

class TerminalLines : public LineSource {
  public:
    TerminalLines() {
        editor_ = el_init("vek", stdin, stdout, stderr);
        history_ = history_init();
        HistEvent event;
        if (history_ != nullptr) history(history_, &event, H_SETSIZE, 1000);
        if (editor_ == nullptr) return;
        el_set(editor_, EL_PROMPT, prompt_of);
        el_set(editor_, EL_EDITOR, "emacs");
        el_set(editor_, EL_SIGNAL, 0);
        if (history_ != nullptr) el_set(editor_, EL_HIST, history, history_);
        el_source(editor_, nullptr);
    }
    TerminalLines(const TerminalLines&) = delete;
    TerminalLines& operator=(const TerminalLines&) = delete;
    ~TerminalLines() override {
        if (history_ != nullptr) history_end(history_);
        if (editor_ != nullptr) el_end(editor_);
    }

    bool next_line(std::string* line, bool continued) override {
        current_prompt = continued ? "  +> " : "vek> ";
        session().show();  // what the statement before has to say stands above the next one
        if (session().abandoned()) return false;
        errno = 0;
        int count = 0;
        const char* text = editor_ == nullptr ? nullptr : el_gets(editor_, &count);
        // An interrupt while a line is typed gives up the statement; a request to end ends the program.
        const int signal = pending_signal();
        if (signal == SIGINT) {
            clear_signal();
            std::fputs("^C\n", stdout);
            std::fflush(stdout);
            el_reset(editor_);
            throw GivenUp{};
        }
        if (text == nullptr || count <= 0 || signal != 0) {
            std::fputs("\n", stdout);
            std::fflush(stdout);
            return false;
        }
        remember(text);
        line->assign(text, static_cast<std::size_t>(count));
        if (!line->empty() && line->back() == '\n') line->pop_back();
        return true;
    }

  private:
    void remember(const char* text) {
        HistEvent event;
        if (history_ != nullptr && std::strspn(text, " \t\n") < std::strlen(text)) {
            history(history_, &event, H_ENTER, text);
        }
    }

    EditLine* editor_ = nullptr;
    History* history_ = nullptr;
};

}  // namespace

LineSource* prompt_lines() {
    static TerminalLines lines;
    return &lines;
}

}  // namespace vek
