#pragma once

#include <QByteArray>
#include <QTemporaryFile>
#include <cstdio>
#include <unistd.h>

namespace testsupport {

// Collects what the process writes to standard error while it lives.
class StderrCapture
{
public:
    StderrCapture()
    {
        file_.open();
        std::fflush(stderr);
        saved_ = ::dup(STDERR_FILENO);
        ::dup2(file_.handle(), STDERR_FILENO);
    }
    ~StderrCapture()
    {
        std::fflush(stderr);
        ::dup2(saved_, STDERR_FILENO);
        ::close(saved_);
    }

    QByteArray text()
    {
        std::fflush(stderr);
        file_.seek(0);
        return file_.readAll();
    }

private:
    QTemporaryFile file_;
    int saved_ = -1;
};

}  // namespace testsupport
