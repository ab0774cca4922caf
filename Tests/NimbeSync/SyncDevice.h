#pragma once

#include <map>
#include <memory>
#include <string>

#include "Fakes/FakeCloudDatabase.h"
#include "Fakes/FakeLogSink.h"
#include "Fakes/ManualMainActor.h"
#include "NimbeSync/CloudMirror.h"
#include "NimbeSync/MemorySyncDatabase.h"
#include "NimbeSync/SyncStore.h"

namespace nimbe {

/// A device of a user: a store, its way to the cloud, and the mirror while it is on.
struct SyncDevice {
    SyncDevice(FakeCloud& cloud, const SymmetricKey& key)
        : keys(key), transcriptKey(keys, TranscriptKey::Use::readAndMake, log),
          connection(cloud, actor) {}

    FakeLogSink log;
    ManualMainActor actor;
    MemorySyncDatabase database;
    InMemoryTranscriptKeyStore keys;
    TranscriptKey transcriptKey;
    SyncStore store{database, transcriptKey, log};
    FakeCloudDatabase connection;
    std::unique_ptr<CloudMirror> mirror;

    void switchOn() {
        mirror = std::make_unique<CloudMirror>(
            CloudMirror::Platform{actor, database, transcriptKey, connection, log});
        mirror->start();
    }
    /// One round, and those that it makes necessary.
    void sync() {
        if (!mirror) switchOn();
        actor.advance(61);
    }
    /// The program ends in the middle of whatever it does.
    void kill() { mirror.reset(); }

    UUID say(const std::string& text, double time = 1) {
        const UUID id = UUID::random();
        (void)store.insert(text, {}, Date{time}, "notes", id);
        return id;
    }
    /// All that it shows, by id.
    [[nodiscard]] std::map<std::string, std::string> texts() {
        std::map<std::string, std::string> texts;
        for (const auto& transcript : store.transcripts())
            texts[transcript.id.text()] = transcript.text + "|" +
                                          transcript.originalText.value_or("") + "|" +
                                          transcript.mode;
        return texts;
    }
    [[nodiscard]] std::vector<std::string> sorted() {
        std::vector<std::string> all;
        for (const auto& transcript : store.transcripts()) all.push_back(transcript.text);
        std::sort(all.begin(), all.end());
        return all;
    }
};

} // namespace nimbe
