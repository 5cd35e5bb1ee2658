#pragma once

#include "tests/support/program.h"

/** Expected logs, journals and answers: a file of tests/data, each case under "== NAME". */
class Transcript {
  public:
    explicit Transcript(const char* file) : mText(expected(file) + "== ") {}

    void expectLines(const std::string& name, const Lines& lines) const {
        const size_t begin = mText.find("== " + name + "\n");
        ASSERT_NE(mText.npos, begin) << name;
        const size_t size = mText.find("\n== ", begin) + 1 - begin;
        EXPECT_EQ(find(mText.substr(begin, size), "(.*)\n"), (Lines{"== " + name, lines}));
    }
    /** The log and then the journal of a set. */
    template <typename Tv>
    void expect(const std::string& name, Tv& tv) const {
        expectLines(name, {tv.log.take(), tv.set.takeJournal()});
    }

  private:
    const std::string mText;
};
