#include "laterLog.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

thread_local LaterLog* LaterLog::s_current = nullptr;

LaterLog::~LaterLog()
{
    s_current = nullptr;
    writeAll(m_first, m_used);
    writeAll(m_more.data(), m_more.size());
}

void LaterLog::add(cWlog& log, cWlog::WlogPiority priority, const char* format, va_list arguments)
{
    char text[1024];
    const int wanted = vsnprintf(text, sizeof text, format, arguments);
    size_t end = wanted < 0 ? 0 : std::min(static_cast<size_t>(wanted), sizeof text - 1);
    const size_t begin = std::min(strspn(format, "\n"), end);
    for (size_t last = strlen(format); last > 0 && end > begin && format[last - 1] == '\n'; --last)
        --end;
    text[end] = '\0';
    const char letter = priority == cWlog::DEBUG ? 'D' : priority == cWlog::INFO ? 'I' : 'W';
    if (s_current != nullptr)
        s_current->keep(letter, text + begin, end - begin);
    else
        write(log, letter, text + begin);
}

void LaterLog::keep(char priority, const char* text, size_t length)
{
    if (m_more.empty() && m_used + length + 2 <= sizeof m_first) {
        m_first[m_used] = priority;
        memcpy(m_first + m_used + 1, text, length + 1);
        m_used += length + 2;
        return;
    }
    m_more += priority;
    m_more.append(text, length + 1);
}

void LaterLog::writeAll(const char* lines, size_t length)
{
    for (const char* line = lines; line < lines + length; line += strlen(line) + 1)
        write(m_log, line[0], line + 1);
}

void LaterLog::write(cWlog& log, char priority, const char* text)
{
    if (priority == 'D')
        log.debug("%s", text);
    else if (priority == 'I')
        log.info("%s", text);
    else
        log.warn("%s", text);
}
