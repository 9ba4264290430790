// The word at the end of an SMS that says what to do.
#include "GSMIOmanager.h"

#include <gtest/gtest.h>

#include <string>

TEST(CommandWord, StandsAtTheEndOfTheFirst159Characters)
{
    const std::string filler(150, 'x');
    const struct {
        std::string text;
        key word;
    } rows[] = {
        {"PUMPON", ON},
        {"PUMP OFF", OFF},
        {"PUMPOFF", OFF},
        {"PUMP NOFF", OFF},
        {"PUMP ON OFF", OFF},
        {"OFF", OFF},
        {"QUERY OFF", OFF},
        {"PUMP off", ON},
        {"PUMP OFF ", ON},
        {"FF", ON},
        {"", ON},
        {"QUERY", Query},
        {"PUMPQUERY", Query},
        {"PUMP ONQUERY", Query},
        {"PUMP query", ON},
        {"UERY", ON},
        {filler + "      OFF", OFF},     // 159 characters
        {filler + "       OFF", ON},     // the last F is the 160th
        {filler + "      OFFQUERY", OFF} // what follows is not looked at
    };
    for (const auto& row : rows)
        EXPECT_EQ(get_onoff(row.text.c_str()), row.word) << row.text;
}
