#include "laterLog.h"

#include <cstdio>
#include <cstring>

thread_local LaterLog* LaterLog::s_current = nullptr;

LaterLog::~LaterLog()
{
    s_current = nullptr;
    for (const Line& line : m_lines)
        write(m_log, line.priority, line.text.c_str());
}

void LaterLog::add(cWlog& log, cWlog::WlogPiority priority, const char* format, va_list arguments)
{
    char text[1024] = "";
    vsnprintf(text, sizeof text, format + strspn(format, "\n"), arguments);
    size_t length = strlen(text);
    for (size_t end = strlen(format); end > 0 && length > 0 && format[end - 1] == '\n'; --end)
        text[--length] = '\0';
    if (s_current != nullptr)
        s_current->m_lines.push_back({priority, text});
    else
        write(log, priority, text);
}

void LaterLog::write(cWlog& log, cWlog::WlogPiority priority, const char* text)
{
    if (priority == cWlog::DEBUG)
        log.debug("%s", text);
    else if (priority == cWlog::INFO)
        log.info("%s", text);
    else
        log.warn("%s", text);
}
