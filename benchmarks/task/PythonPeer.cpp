#include "benchmarks/task/PythonPeer.h"

#include <stdexcept>

PythonPeer::PythonPeer() {
    process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process_.start("python3", {QF_PYTHON_PEER});
}

PythonPeer::~PythonPeer() {
    process_.closeWriteChannel();
    process_.waitForFinished();
}

double PythonPeer::perform(const std::string& order) {
    process_.write((order + "\n").c_str());
    while (!process_.canReadLine()) {
        if (!process_.waitForReadyRead(-1)) {
            throw std::runtime_error("python3 does not answer");
        }
    }
    return process_.readLine().toDouble();
}
