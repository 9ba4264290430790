// The pseudo terminal and the link to it.
#pragma once

#include <cstddef>
#include <string>

namespace modemsim {

/// The modem's side of a pseudo terminal, raw from the start, not blocking, and a symbolic link to the users' side.
/// Threads: none of its own; its owner's lock guards it.
/// Errors:  open() throws std::system_error; the others report by their result.
class Pty {
public:
    explicit Pty(std::string link);
    ~Pty();
    Pty(const Pty&) = delete;
    Pty& operator=(const Pty&) = delete;

    void open();   ///< a new terminal, and the link to it
    void hangUp(); ///< closes it: its users read end of file; the link stays
    bool isOpen() const { return m_fd != -1; }
    int fd() const { return m_fd; }         ///< borrowed, -1 when hung up
    bool hasUser() const;                   ///< somebody has the terminal open
    int usersFd() const { return m_users; } ///< borrowed; readable when somebody has opened or closed it, until...
    void forgetUsers() const;               ///< ... this
    void flush() const;                     ///< returns when bytes written at either end have reached the other
    void forgetUnread();                    ///< drops unread bytes, as a port does that nobody has open

    std::string read();                          ///< what is there now, at most 4096 bytes; empty: nothing
    std::size_t write(const std::string& bytes); ///< bytes taken; 0: the terminal is full or nobody listens
    const std::string& device() const { return m_device; }
    const std::string& path() const { return m_link.empty() ? m_device : m_link; }

private:
    void makeRaw() const;
    void replaceLink() const;
    void removeLink() const;
    void watchUsers();

    const std::string m_link;
    std::string m_device;
    int m_fd = -1;
    int m_users = -1; // inotify
};

} // namespace modemsim
