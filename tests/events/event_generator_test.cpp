#include <gtest/gtest.h>
#include <korvane/events/EventGenerator.h>

using namespace Korvane;

TEST(EventGenerator, BlockEventsAnswersThePreviousState) {
    EventGenerator generator;
    EXPECT_FALSE(generator.eventsBlocked());
    EXPECT_FALSE(generator.blockEvents(true));
    EXPECT_TRUE(generator.eventsBlocked());
    EXPECT_TRUE(generator.blockEvents(true));
    EXPECT_TRUE(generator.blockEvents(false));
    EXPECT_FALSE(generator.eventsBlocked());
}

TEST(EventGenerator, CopyKeepsBlockedStateButHasItsOwnId) {
    EventGenerator original;
    original.blockEvents(true);
    const EventGenerator copy(original);
    EXPECT_TRUE(copy.eventsBlocked());
    EXPECT_NE(copy.makeSenderId(), original.makeSenderId());
    EXPECT_EQ(original.makeSenderId(), original.makeSenderId());
}
