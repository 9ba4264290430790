#include "ModemEvent.h"
#include "WList.h"
#include "cWlog.h"
#include "enum_list.h"
#include "scratchFolder.h"
#include "sms.h"

#include <gmock/gmock.h>

#include <cstring>
#include <vector>

namespace {

using testing::ElementsAre;

std::vector<int> untilNull(WList& list)
{
    std::vector<int> entries;
    list.reset();
    for (void* entry = list.get(); entry != nullptr; list.step(), entry = list.get()) {
        entries.push_back(*static_cast<int*>(entry));
    }
    return entries;
}

TEST(WList, BothWalksFollowTheOrderOfAdding)
{
    int values[] = {1, 2, 3};
    auto list = std::make_unique<WList>();
    EXPECT_EQ(list->get(), nullptr);
    EXPECT_TRUE(list->empty());
    list->reset();
    EXPECT_EQ(list->get(), nullptr);
    for (int& value : values) {
        list->add(&value);
    }
    EXPECT_EQ(list->get(), nullptr) << "adding must not move the cursor";
    EXPECT_THAT(untilNull(*list), ElementsAre(1, 2, 3));
    EXPECT_EQ(list->get(), nullptr) << "a walk ends behind the last entry";
    EXPECT_FALSE(list->step());

    std::vector<int> counted;
    list->reset();
    for (int i = list->size(); i > 0; --i, list->step()) {
        counted.push_back(*static_cast<int*>(list->get()));
    }
    EXPECT_THAT(counted, ElementsAre(1, 2, 3));
    list.reset();
    EXPECT_THAT(values, ElementsAre(1, 2, 3)) << "entries are not the list's";
}

TEST(WList, PullTakesTheFirstAndLeavesAWalkIntact)
{
    int values[] = {1, 2};
    WList list;
    EXPECT_EQ(list.pull(), nullptr);
    list.add(&values[0]);
    list.add(&values[1]);
    EXPECT_EQ(list.getfirst(), &values[0]);
    EXPECT_EQ(list.pull(), &values[0]);
    EXPECT_EQ(list.get(), &values[1]);
    EXPECT_EQ(list.pull(), &values[1]);
    EXPECT_EQ(list.get(), nullptr);
    list.add(&values[0]);
    EXPECT_THAT(untilNull(list), ElementsAre(1));
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

std::vector<int> walk(List& list)
{
    std::vector<int> entries;
    for (const int* entry = list.first(); entry != nullptr; entry = list.getNext()) {
        entries.push_back(*entry);
    }
    return entries;
}

class EnumeratedList : public testing::Test {
protected:
    int x = 1, y = 2, z = 3;
    List list;
};

TEST_F(EnumeratedList, WalksNewestFirstAndStartsAnew)
{
    EXPECT_EQ(list.first(), nullptr);
    EXPECT_EQ(list.getNext(), nullptr);
    list.insert(&x);
    EXPECT_EQ(list.insert(&y), 0);
    list.insert(&z);
    EXPECT_THAT(walk(list), ElementsAre(3, 2, 1));
    EXPECT_EQ(list.getNext(), &z) << "the end of a walk puts the cursor on the newest";
    list.insert(&x);
    EXPECT_EQ(list.getNext(), &y) << "what is inserted during a walk is not part of it";
    EXPECT_EQ(list.first(), &x);
}

TEST_F(EnumeratedList, AHeldNullEndsAWalkAndKeepsTheCursorBehindIt)
{
    list.insert(&x);
    list.insert(nullptr);
    list.insert(&y);
    EXPECT_THAT(walk(list), ElementsAre(2));
    EXPECT_EQ(list.getNext(), &x);
}

TEST_F(EnumeratedList, ANestedWalkIsUndoneByTheSavedCursor)
{
    list.insert(&x);
    list.insert(&y);
    list.insert(&z);
    EXPECT_EQ(list.first(), &z);
    list.set_point();
    EXPECT_THAT(walk(list), ElementsAre(3, 2, 1));
    EXPECT_TRUE(list.restore_point());
    EXPECT_EQ(list.getNext(), &y);

    List fresh;
    fresh.insert(&x);
    EXPECT_FALSE(fresh.restore_point()) << "nothing was saved";
}

TEST_F(EnumeratedList, ALinkedListTakesPartInInsertions)
{
    List second;
    list.link(&second);
    list.insert(&x);
    list.insertBack(&y);
    second.insert(&z);
    EXPECT_THAT(walk(list), ElementsAre(1, 2));
    EXPECT_THAT(walk(second), ElementsAre(3, 1, 2));
    list.unlink();
    list.insert(&z);
    EXPECT_EQ(second.size(), 3U);
}

TEST_F(EnumeratedList, RemovingMovesTheCursorsOn)
{
    for (int* object : {&x, &y, &x, &z}) {
        list.insert(object);
    }
    EXPECT_EQ(list.first(), &z);
    list.set_point(); // on the newer x
    EXPECT_EQ(list.remove(&x), 0);
    EXPECT_EQ(list.getNext(), &y);
    list.restore_point();
    EXPECT_EQ(list.getNext(), &y);
    EXPECT_THAT(walk(list), ElementsAre(3, 2, 1));
    int absent = 0;
    EXPECT_EQ(list.remove(&absent), -1);
}

TEST_F(EnumeratedList, KeepsTheNewestAndHandsOutTheRest)
{
    for (int* object : {&x, &y, &z}) {
        list.insert(object);
    }
    list.first();
    std::vector<int> dropped;
    list.keepNewest(1, [&](const int* object) { dropped.push_back(*object); });
    EXPECT_THAT(dropped, ElementsAre(2, 1));
    EXPECT_EQ(list.getNext(), nullptr) << "the cursor's entry is gone";
    EXPECT_THAT(walk(list), ElementsAre(3));
    list.insertBack(&x);
    EXPECT_THAT(walk(list), ElementsAre(3, 1));
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
    EXPECT_STREQ(sms->getSmsId(), "12");
    EXPECT_STREQ(usd->getUsdCode(), "12");
    sms->setSmsId(sms->getSmsId());
    EXPECT_STREQ(sms->getSmsId(), "12");
    EXPECT_EQ(sms->getEventType(), ModemEvent::SMS);
    EXPECT_EQ(usd->getEventType(), ModemEvent::USD);
    destroyModemEvent(sms);
    destroyModemEvent(usd);
    destroyModemEvent(new ModemEvent);
    destroyModemEvent(nullptr);
}

TEST(SmsRecord, HoldsCopiesOfTheLatestTexts)
{
    Sms sms;
    EXPECT_EQ(sms.getNumber(), nullptr);
    EXPECT_FALSE(sms.getRead());
    char number[] = "\"0151\"";
    sms.setNumber(number);
    number[1] = '9';
    EXPECT_STREQ(sms.getNumber(), "\"0151\"");
    sms.initialise("n", "m", "1", true);
    sms.setNumber("last");
    EXPECT_STREQ(sms.getNumber(), "last");
    EXPECT_STREQ(sms.getMessage(), "m");
    EXPECT_STREQ(sms.getId(), "1");
    EXPECT_TRUE(sms.getRead());
}

} // namespace
