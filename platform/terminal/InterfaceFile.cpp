#include "platform/terminal/InterfaceFile.h"

#include "platform/foundation/Exception.h"
#include "platform/foundation/Text.h"

#include <glib.h>

#include <list>
#include <map>
#include <memory>
#include <string_view>
#include <utility>

namespace qf::terminal {

namespace {

/// An element of the file. Its text includes that of the elements in it.
struct Element {
    std::string name;
    std::map<std::string, std::string> attributes;
    std::string text;
    std::list<Element> children;

    std::string attribute(const std::string& attributeName) const {
        const auto found = attributes.find(attributeName);
        return found == attributes.end() ? std::string() : found->second;
    }
};

/// The elements that are open, each in the one before it; the first one is the file.
using Open = std::vector<Element*>;

void begin(GMarkupParseContext* /*context*/, const char* name, const char** attributeNames,
           const char** attributeValues, void* data, GError** /*error*/) {
    auto& open = *static_cast<Open*>(data);
    auto& element = open.back()->children.emplace_back(Element{.name = name});
    for (; *attributeNames != nullptr; ++attributeNames, ++attributeValues) {
        element.attributes.emplace(*attributeNames, *attributeValues);
    }
    open.push_back(&element);
}

void end(GMarkupParseContext* /*context*/, const char* /*name*/, void* data, GError** /*error*/) {
    static_cast<Open*>(data)->pop_back();
}

void addText(GMarkupParseContext* /*context*/, const char* text, gsize length, void* data,
             GError** /*error*/) {
    for (auto* element : *static_cast<Open*>(data)) {
        element->text.append(text, length);
    }
}

constexpr GMarkupParser parser{begin, end, addText, nullptr, nullptr};

[[noreturn]] void throwUnreadable(const InterfaceFile& file, const std::string& why) {
    throw Exception(exception_name::interfaceUnreadable,
                    "cannot load the interface file " + file.name + ": " + why);
}

/// Returns the file, with its outermost element unless it consists of instructions alone.
Element parsed(const InterfaceFile& file) {
    Element whole;
    Open open{&whole};
    const std::unique_ptr<GMarkupParseContext, decltype(&g_markup_parse_context_free)> context(
        g_markup_parse_context_new(&parser, G_MARKUP_TREAT_CDATA_AS_TEXT, &open, nullptr),
        g_markup_parse_context_free);
    GError* error = nullptr;
    if (g_markup_parse_context_parse(context.get(), file.text.data(),
                                     static_cast<gssize>(file.text.size()), &error) == FALSE ||
        g_markup_parse_context_end_parse(context.get(), &error) == FALSE) {
        const std::unique_ptr<GError, decltype(&g_error_free)> owned(error, g_error_free);
        throwUnreadable(file, error->message);
    }
    return whole;
}

const std::map<std::string, Control::Kind> controlKinds = {
    {"QLabel", Control::Kind::label},
    {"QCheckBox", Control::Kind::checkBox},
    {"QPushButton", Control::Kind::button},
    {"QProgressBar", Control::Kind::progressBar},
};

/// Returns a title without its marks: "&" marks the letter that follows it, "&&" is a visible one.
std::string withoutMnemonics(std::string_view text) {
    std::string result;
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (text[index] == '&' && index + 1 < text.size()) {
            ++index;
        }
        result += text[index];
    }
    return result;
}

void readProperty(const Element& property, WindowDescription& window, Control* control) {
    const auto name = property.attribute("name");
    const std::string text(text::trimmed(property.text));
    if (control == nullptr) {
        if (name == "closeAction") {
            window.closeAction = text;
        }
    } else if (name == "text") {
        control->text = control->kind == Control::Kind::label ? text : withoutMnemonics(text);
    } else if (name == "action") {
        control->action = text;
    } else if (name == "textStyle") {
        control->textStyle = text;
    }
}

void readWidget(const Element& widget, WindowDescription& window);

/// Reads the contents of a window, a layout or a control; `control` is null unless it is a control.
void readContents(const Element& element, WindowDescription& window, Control* control) {
    for (const auto& child : element.children) {
        if (child.name == "widget") {
            readWidget(child, window);
        } else if (child.name == "property") {
            readProperty(child, window, control);
        } else if (child.name == "layout" || child.name == "item") {
            Control none;
            readContents(child, window, &none);
        }
    }
}

void readWidget(const Element& widget, WindowDescription& window) {
    const auto kind = controlKinds.find(widget.attribute("class"));
    Control control{.name = widget.attribute("name")};
    if (kind == controlKinds.end()) {
        readContents(widget, window, &control);
        return;
    }
    control.kind = kind->second;
    readContents(widget, window, &control);
    window.controls.push_back(std::move(control));
}

/// Calls `use` with each widget that is directly in an element.
template <class Use>
void forEachWidgetIn(const Element& element, Use use) {
    for (const auto& child : element.children) {
        if (child.name == "widget") {
            use(child);
        }
    }
}

} // namespace

std::vector<WindowDescription> windowsIn(const InterfaceFile& file) {
    const auto whole = parsed(file);
    if (whole.children.empty() || whole.children.front().name != "ui") {
        throwUnreadable(file, "it is no interface file");
    }
    std::vector<WindowDescription> windows;
    // The outermost widget is never shown; each widget directly in it is a window.
    forEachWidgetIn(whole.children.front(), [&windows](const Element& container) {
        forEachWidgetIn(container, [&windows](const Element& window) {
            windows.push_back(
                {.name = window.attribute("name"), .closeAction = {}, .controls = {}});
            readContents(window, windows.back(), nullptr);
        });
    });
    return windows;
}

} // namespace qf::terminal
