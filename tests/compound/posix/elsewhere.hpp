// Work in another process.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace lumvex::tests {

class Elsewhere {
public:
    template <class Work>
    explicit Elsewhere(const Work& work) : child_(::fork()) {
        if (child_ == 0) ::_exit(Run(work) & 0xFF);
    }
    // The low byte of what the work answered.
    int Result() const {
        int status = 0;
        ::waitpid(child_, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    template <class Work>
    static int Run(Work& work) {
        try {
            return static_cast<int>(work());
        } catch (const std::exception& error) {
            ADD_FAILURE() << error.what();
            return 255;
        }
    }

    pid_t child_;
};

class Signal {
public:
    Signal() {
        if (::pipe(ends_) != 0) ends_[0] = ends_[1] = -1;
    }
    ~Signal() { ::close(ends_[0]), ::close(ends_[1]); }
    void Give() const { EXPECT_EQ(::write(ends_[1], "x", 1), 1); }
    void Await() const {
        char got = 0;
        EXPECT_EQ(::read(ends_[0], &got, 1), 1);
    }

private:
    int ends_[2];
};

}  // namespace lumvex::tests
