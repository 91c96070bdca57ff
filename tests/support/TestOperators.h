#pragma once
// Operators for the operator and operator-process tests: PassThrough is the example of
// the Operator header, kept here so that it keeps compiling; ScriptedOperator runs
// functions a test sets before the process starts and notes each call, tagged with its
// name, in a journal shared by several operators, to see the order of the calls.

#include <korvane/buffers/BufferTemplate.h>
#include <korvane/image/Image.h>
#include <korvane/process/Operator.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "support/TestProcesses.h"  // stopProcessWithin

namespace KorvaneTest {

class PassThrough : public Korvane::Operator {
public:
    PassThrough() {
        addBufferSlot("In", "Image", Korvane::slot_input, "Images to pass on.", false);
        addBufferSlot("Out", "Image", Korvane::slot_output, "The same images.", false);
    }
    Korvane::Operator* createCopy() override { return new PassThrough(*this); }
    bool init() override {
        m_in = bufferSlot("In");
        m_out = bufferSlot("Out");
        return m_in.isValid() && m_out.isValid();
    }
    bool execute() override {
        Korvane::ImgRefPtr image;
        return images(m_in).pop(image) && images(m_out).push(image);
    }
    bool cleanup() override {
        m_in = m_out = Korvane::BufferRefPtr();
        return true;
    }
    std::string help() const override { return "Passes each image on unchanged."; }

private:
    using Images = Korvane::BufferTemplate<Korvane::ImgRefPtr>;
    static Images& images(const Korvane::BufferRefPtr& b) { return static_cast<Images&>(*b); }
    Korvane::BufferRefPtr m_in, m_out;  // bound while the process runs
};

// Calls noted by operators, in the order they happened, from any thread.
class Journal {
public:
    void note(const std::string& entry) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_entries.push_back(entry);
    }
    std::vector<std::string> entries() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_entries;
    }

private:
    mutable std::mutex m_mutex;  // guards m_entries
    std::vector<std::string> m_entries;
};

class ScriptedOperator : public Korvane::Operator {
public:
    // Notes "<tag>.init", "<tag>.execute", "<tag>.cleanup" into journal.
    ScriptedOperator(std::shared_ptr<Journal> journal, std::string tag)
        : m_journal(std::move(journal)), m_tag(std::move(tag)) {}

    using BufferSlotInterface::addBufferSlot;
    using BufferSlotInterface::bufferSlot;
    using BufferSlotInterface::setBufferSlot;

    // Set before the process starts; its thread calls them.
    std::function<bool()> onInit = [] { return true; };
    std::function<bool()> onExecute = [] { return true; };
    std::function<bool()> onCleanup = [] { return true; };

    Korvane::Operator* createCopy() override { return new ScriptedOperator(*this); }
    bool init() override { return noted("init", onInit); }
    bool execute() override { return noted("execute", onExecute); }
    bool cleanup() override { return noted("cleanup", onCleanup); }
    std::string help() const override { return "Runs what the test set."; }

private:
    bool noted(const char* call, const std::function<bool()>& function) {
        m_journal->note(m_tag + "." + call);
        return function();
    }

    std::shared_ptr<Journal> m_journal;
    std::string m_tag;
};

}  // namespace KorvaneTest
