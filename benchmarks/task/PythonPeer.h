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

    /// Has an order ("launch 20 /bin/true") carried out, and gives the seconds that it took in
    /// there. Throws std::runtime_error when there is no answer.
    double perform(const std::string& order);

private:
    QProcess process_;
};
