#pragma once

#include <QProcess>

#include <string>

/// A Python interpreter that runs tools with its subprocess module, one order after the other.
class PythonPeer {
public:
    PythonPeer();
    ~PythonPeer();
    PythonPeer(const PythonPeer&) = delete;
    PythonPeer& operator=(const PythonPeer&) = delete;
    PythonPeer(PythonPeer&&) = delete;
    PythonPeer& operator=(PythonPeer&&) = delete;

    /// Carries out an order ("launch 20 /bin/true"), and returns the seconds that it took in the
    /// interpreter. Throws std::runtime_error if there is no answer.
    double perform(const std::string& order);

private:
    QProcess process_;
};
