#include "ModemEvent.h"
#include "WList.h"
#include "cWlog.h"
#include "enum_list.h"
#include "scratchFolder.h"
#include "sms.h"

#include <gmock/gmock.h>

#include <vector>

namespace {

using Entries = std::vector<int>;

Entries walk(WList& list)
{
    Entries entries;
    for (list.reset(); list.get() != nullptr; list.step())
        entries.push_back(*static_cast<int*>(list.get()));
    return entries;
}

TEST(WList, KeepsTheOrderOfAddingAndACursorThatNoAdditionMoves)
{
    int values[] = {1, 2, 3};
    WList list;
    list.reset();
    EXPECT_EQ(list.get(), nullptr);
    EXPECT_TRUE(list.empty());
    for (int& value : values)
        list.add(&value);
    EXPECT_EQ(list.get(), nullptr);
    EXPECT_EQ(walk(list), (Entries{1, 2, 3}));
    EXPECT_EQ(list.get(), nullptr) << "a walk ends behind the last entry";
    EXPECT_FALSE(list.step());
    EXPECT_EQ(list.getfirst(), &values[0]);
    EXPECT_EQ(list.pull(), &values[0]);
    EXPECT_EQ(list.get(), &values[1]) << "the cursor leaves what is pulled";
    EXPECT_EQ(list.size(), 2);
    EXPECT_EQ(list.pull(), &values[1]);
    EXPECT_EQ(list.pull(), &values[2]);
    EXPECT_EQ(list.get(), nullptr);
    EXPECT_EQ(list.pull(), nullptr);
    list.add(&values[0]);
    EXPECT_EQ(walk(list), Entries{1});
}

TEST(WList, RefusesWhatItCannotCount)
{
    cWlog::init(cWlog::INFO);
    int value = 0;
    WList list;
    for (int i = 0; i < 65535; ++i) {
        list.add(&value);
    }
    EXPECT_THAT(standardErrorOf([&] { list.add(&value); }), testing::HasSubstr("ERROR Wlist: list full"));
    EXPECT_EQ(list.size(), 65535);
}

using List = cEnumeratedList<int>;

Entries walk(List& list)
{
    Entries entries;
    for (const int* entry = list.first(); entry != nullptr; entry = list.getNext())
        entries.push_back(*entry);
    return entries;
}

class EnumeratedList : public testing::Test {
protected:
    int x = 1, y = 2, z = 3;
    List list;
};

TEST_F(EnumeratedList, WalksNewestFirstUpToAHeldNullAndStartsAnew)
{
    EXPECT_EQ(list.first(), nullptr);
    EXPECT_EQ(list.getNext(), nullptr);
    EXPECT_FALSE(list.restore_point()) << "nothing was saved";
    list.insert(&x);
    EXPECT_EQ(list.insert(&y), 0);
    list.insert(&z);
    EXPECT_EQ(walk(list), (Entries{3, 2, 1}));
    EXPECT_EQ(list.getNext(), &z) << "the end of a walk puts the cursor on the newest";
    list.insert(&x);
    EXPECT_EQ(list.getNext(), &y) << "what is inserted during a walk is not part of it";
    EXPECT_EQ(list.first(), &x);
    list.set_point();
    EXPECT_EQ(walk(list), (Entries{1, 3, 2, 1}));
    EXPECT_TRUE(list.restore_point());
    EXPECT_EQ(list.getNext(), &z) << "the walk around this one goes on";
    list.insert(nullptr);
    list.insert(&y);
    EXPECT_EQ(walk(list), Entries{2});
    EXPECT_EQ(list.getNext(), &x) << "the cursor stays behind the null";
}

TEST_F(EnumeratedList, ALinkedListTakesPartInInsertions)
{
    List second;
    list.link(&second);
    list.insert(&x);
    list.insertBack(&y);
    second.insert(&z);
    EXPECT_EQ(walk(list), (Entries{1, 2}));
    EXPECT_EQ(walk(second), (Entries{3, 1, 2}));
    list.unlink();
    list.insert(&z);
    EXPECT_EQ(second.size(), 3U);
}

TEST_F(EnumeratedList, NoCursorStaysOnWhatIsRemoved)
{
    for (int* object : {&x, &y, &x, &z})
        list.insert(object);
    EXPECT_EQ(list.first(), &z);
    list.set_point(); // on the newer x
    EXPECT_EQ(list.remove(&x), 0);
    EXPECT_EQ(list.getNext(), &y);
    list.restore_point();
    EXPECT_EQ(list.getNext(), &y);
    int absent = 0;
    EXPECT_EQ(list.remove(&absent), -1);
    EXPECT_EQ(walk(list), (Entries{3, 2, 1}));

    list.first();
    Entries dropped;
    list.keepNewest(1, [&](const int* object) { dropped.push_back(*object); });
    EXPECT_EQ(dropped, (Entries{2, 1}));
    EXPECT_EQ(list.getNext(), nullptr);
    list.insertBack(&x);
    EXPECT_EQ(walk(list), (Entries{3, 1}));
}

TEST(Events, KeepTheirOwnCopyOfTheText)
{
    char text[] = "12";
    auto* const sms = new SmsEvent;
    auto* const usd = new USDEvent;
    EXPECT_EQ(sms->getSmsId(), nullptr);
    sms->setSmsId(text);
    usd->setUsdCode(text);
    text[0] = '9';
    sms->setSmsId(sms->getSmsId());
    EXPECT_STREQ(sms->getSmsId(), "12");
    EXPECT_STREQ(usd->getUsdCode(), "12");
    EXPECT_EQ(sms->getEventType(), ModemEvent::SMS);
    EXPECT_EQ(usd->getEventType(), ModemEvent::USD);
    for (ModemEvent* event : {static_cast<ModemEvent*>(sms), static_cast<ModemEvent*>(usd), new ModemEvent,
                              static_cast<ModemEvent*>(nullptr)})
        destroyModemEvent(event);
}

TEST(SmsRecord, HoldsCopiesOfTheLatestTexts)
{
    Sms sms;
    EXPECT_EQ(sms.getNumber(), nullptr);
    EXPECT_FALSE(sms.getRead());
    sms.initialise("n", "m", "1", true);
    char number[] = "0151";
    sms.setNumber(number);
    number[1] = '9';
    EXPECT_STREQ(sms.getNumber(), "0151");
    EXPECT_STREQ(sms.getMessage(), "m");
    EXPECT_STREQ(sms.getId(), "1");
    EXPECT_TRUE(sms.getRead());
}

} // namespace
