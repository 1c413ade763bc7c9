// A host that does everything, at random, and knows what must come of it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "soak/logbook.h"
#include "soak/palmModel.h"
#include "soak/settings.h"
#include "support/engineFolder.h"

namespace brairu::test {

class Visitor {
public:
    // Starts the engine in a folder of its own.
    explicit Visitor(SeededRandom& random);

    // Does one thing, which takes one exported call or a few.
    void act();

    // Empties store, records and doubles, so that what the process holds can be compared.
    void tidyUp();

    Logbook& logbook() { return logbook_; }

private:
    struct Deed {
        int weight;
        void (Visitor::*act)();
    };
    static const std::vector<Deed>& deeds();

    void detect();
    void detectPair();
    void detectNothing();
    void identifyNear() { identify(Likeness::near); }
    void identifyFar() { identify(Likeness::far); }
    void identifyStranger();
    void verify();
    void enrol();
    void enrolTwice();
    void abandonEnrolment();
    void add();
    void addWithFeatSize();
    void update();
    void updateWithFeatSize();
    void readBack();
    void remove();
    void ask();
    void list();
    void askForStrangers();
    void set();
    void refuseSetting();
    void refuseNull();
    void raise();
    void restart();
    void callWithoutEngine();
    void wipe();

    void start();
    void identify(Likeness likeness);
    // The capture calls; what they write.
    Features capture(const Features& features);
    // Hands captures over until the last; the status that this gave.
    int submit(const PvaUserKey& key, const std::vector<Features>& captures, bool checkDuplicate);
    void expectRaised(const std::string& call, const char* text,
                      const std::function<void()>& action);

    float writtenNumber(const Setting& setting) const;

    Palm* anyPalm();
    PvaUserKey newKey();
    void remember(const PvaUserKey& key, const TemplateBytes& stored);
    bool isFull() const;
    static void forgetRecords();

    SeededRandom& random_;
    EngineFolder folder_;
    Logbook logbook_;
    std::vector<Palm> palms_;
    std::int32_t lastRow_ = 0;
    int securityLevel_ = 1;
    std::vector<std::uint8_t> frame_;
};

}  // namespace brairu::test
