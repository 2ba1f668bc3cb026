#include "platform/terminal/InterfaceFile.h"

#include "platform/foundation/Exception.h"

#include <QFile>
#include <QXmlStreamReader>

#include <map>
#include <optional>

namespace platform::terminal {

namespace {

const std::map<QString, Control::Kind> controlKinds = {
    {"QLabel", Control::Kind::label},
    {"QCheckBox", Control::Kind::checkBox},
    {"QPushButton", Control::Kind::button},
    {"QProgressBar", Control::Kind::progressBar},
};

/// Returns a title without its marks: "&" marks the letter that follows it, "&&" is a visible one.
std::string withoutMnemonics(const QString& text) {
    QString result;
    for (qsizetype index = 0; index < text.size(); ++index) {
        if (text[index] == '&' && index + 1 < text.size()) {
            ++index;
        }
        result += text[index];
    }
    return result.toStdString();
}

/// Reads the file from its beginning to its end, widget by widget.
class Reader {
public:
    explicit Reader(QIODevice& device) : xml_(&device) {}

    std::vector<WindowDescription> windows() {
        if (xml_.readNextStartElement() && xml_.name() == QStringLiteral("ui")) {
            while (xml_.readNextStartElement()) {
                if (xml_.name() == QStringLiteral("widget")) {
                    readContainer();
                } else {
                    xml_.skipCurrentElement();
                }
            }
        } else if (!xml_.hasError()) {
            xml_.raiseError("it is no interface file");
        }
        return std::move(windows_);
    }

    QString error() const { return xml_.errorString(); }
    bool hasFailed() const { return xml_.hasError(); }

private:
    /// The outermost widget, which is never shown; each widget directly in it is a window.
    void readContainer() {
        while (xml_.readNextStartElement()) {
            if (xml_.name() == QStringLiteral("widget")) {
                windows_.push_back({.name = attribute("name"), .closeAction = {}, .controls = {}});
                readContents(windows_.back(), nullptr);
            } else {
                xml_.skipCurrentElement();
            }
        }
    }

    /// Reads the contents of a window, a layout or a control; `control` is null unless it is a
    /// control.
    void readContents(WindowDescription& window, Control* control) {
        while (xml_.readNextStartElement()) {
            if (xml_.name() == QStringLiteral("widget")) {
                readWidget(window);
            } else if (xml_.name() == QStringLiteral("property")) {
                readProperty(window, control);
            } else if (xml_.name() == QStringLiteral("layout") ||
                       xml_.name() == QStringLiteral("item")) {
                Control none;
                readContents(window, &none);
            } else {
                xml_.skipCurrentElement();
            }
        }
    }

    void readWidget(WindowDescription& window) {
        const auto kind = controlKinds.find(xml_.attributes().value("class").toString());
        Control control{.name = attribute("name")};
        if (kind == controlKinds.end()) {
            readContents(window, &control);
            return;
        }
        control.kind = kind->second;
        readContents(window, &control);
        window.controls.push_back(std::move(control));
    }

    void readProperty(WindowDescription& window, Control* control) {
        const auto name = attribute("name");
        const auto text = xml_.readElementText(QXmlStreamReader::IncludeChildElements).trimmed();
        if (control == nullptr) {
            if (name == "closeAction") {
                window.closeAction = text.toStdString();
            }
        } else if (name == "text") {
            control->text =
                control->kind == Control::Kind::label ? text.toStdString() : withoutMnemonics(text);
        } else if (name == "action") {
            control->action = text.toStdString();
        } else if (name == "textStyle") {
            control->textStyle = text.toStdString();
        }
    }

    std::string attribute(const char* name) const {
        return xml_.attributes().value(name).toString().toStdString();
    }

    QXmlStreamReader xml_;
    std::vector<WindowDescription> windows_;
};

[[noreturn]] void throwUnreadable(const std::string& file, const QString& why) {
    throw Exception(exception_name::interfaceUnreadable, "cannot load the interface file " + file +
                                                             ": " + why.simplified().toStdString());
}

} // namespace

std::vector<WindowDescription> readInterfaceFile(const std::string& file) {
    QFile device(QString::fromStdString(file));
    if (!device.open(QIODevice::ReadOnly)) {
        throwUnreadable(file, device.errorString());
    }
    Reader reader(device);
    auto windows = reader.windows();
    if (reader.hasFailed()) {
        throwUnreadable(file, reader.error());
    }
    return windows;
}

} // namespace platform::terminal
