#define POLKIT_AGENT_I_KNOW_API_IS_SUBJECT_TO_CHANGE
#include "platform/linux/authorization/PolkitAgent.h"

#include "platform/linux/system/GLibOwners.h"
#include "platform/linux/system/TimedBus.h"

#include <polkitagent/polkitagent.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

namespace qf::native {

namespace {

/// Returns the system bus, or null without one. The library's own way ends the process with the
/// bus, or without descriptors or threads.
Owned<GDBusConnection> systemBus() {
    if (!hasMeansForBus()) {
        return nullptr;
    }
    Owned<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
    if (bus) {
        g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
    }
    return bus;
}

// ---- One question ------------------------------------------------------------------------------

/// Whom an agent has for its answers, to which questions, and how many of them are thought about.
struct Answering {
    PolkitAnswerer answerer;
    PolkitFilter filter;
    int open = 0;
};

/// One question from when it is asked until it is done with, attempt after attempt. It belongs to
/// itself and ends with finish(). All of it runs on the agent's thread, except the answerer, so
/// that others who ask meanwhile are not kept waiting.
class Question {
public:
    Question(Answering& answering, GTask* task, const char* cookie, GList* identities)
        : answering_(answering), task_(task), cookie_(cookie) {
        for (const GList* entry = identities; entry != nullptr; entry = entry->next) {
            if (POLKIT_IS_UNIX_USER(entry->data)) {
                const int user = polkit_unix_user_get_uid(POLKIT_UNIX_USER(entry->data));
                administrators_.push_back(static_cast<uid_t>(user));
            }
        }
        if (GCancellable* cancellable = g_task_get_cancellable(task); cancellable != nullptr) {
            cancelled_ = g_signal_connect_swapped(cancellable, "cancelled",
                                                  G_CALLBACK(&Question::wasCancelled), this);
        }
    }
    ~Question() {
        if (cancelled_ != 0) {
            g_signal_handler_disconnect(g_task_get_cancellable(task_.get()), cancelled_);
        }
    }
    Question(const Question&) = delete;
    Question& operator=(const Question&) = delete;
    Question(Question&&) = delete;
    Question& operator=(Question&&) = delete;

    /// GLib's own threads would keep the question waiting for good where none can be started.
    void answer() {
        GMainContext* context = g_main_context_ref_thread_default();
        try {
            thinking_ = std::thread([this, context] {
                answer_ = answering_.answerer(administrators_, ++attempt_);
                callLater(context, wasAnswered);
                g_main_context_unref(context);
            });
            ++answering_.open;
        } catch (const std::system_error&) {
            g_main_context_unref(context);
            finish(true);
        }
    }

private:
    void callLater(GMainContext* context, GSourceFunc function) {
        GSource* later = g_idle_source_new();
        g_source_set_callback(later, function, this, nullptr);
        g_source_attach(later, context);
        g_source_unref(later);
    }

    static gboolean wasAnswered(void* data) {
        auto* self = static_cast<Question*>(data);
        self->thinking_.join();
        --self->answering_.open;
        if (self->answer_.kind == PolkitAnswer::Kind::password && !self->isDone_) {
            self->startSession(self->answer_);
        } else {
            self->finish(self->answer_.kind == PolkitAnswer::Kind::dismiss);
        }
        return G_SOURCE_REMOVE;
    }

    void startSession(const PolkitAnswer& answer) {
        password_ = answer.password;
        const Owned<PolkitIdentity> identity(polkit_unix_user_new(static_cast<int>(answer.user)));
        session_.reset(polkit_agent_session_new(identity.get(), cookie_.c_str()));
        g_signal_connect_swapped(session_.get(), "request", G_CALLBACK(&Question::wasAsked), this);
        g_signal_connect_swapped(session_.get(), "completed", G_CALLBACK(&Question::wasCompleted),
                                 this);
        polkit_agent_session_initiate(session_.get());
    }

    void finish(bool dismissed) {
        if (dismissed) {
            g_task_return_new_error(task_.get(), POLKIT_ERROR, POLKIT_ERROR_CANCELLED, "dismissed");
        } else {
            g_task_return_boolean(task_.get(), TRUE);
        }
        delete this;
    }

    /// PAM wants something: the password, once. Asked for more, there is nothing more to say.
    static void wasAsked(Question* self, const char* /*prompt*/, gboolean /*echo*/) {
        const std::string* password = std::exchange(self->password_, nullptr);
        if (password == nullptr) {
            polkit_agent_session_cancel(self->session_.get());
            return;
        }
        // The session looks at the last character without asking whether there is one.
        polkit_agent_session_response(self->session_.get(),
                                      password->empty() ? "\n" : password->c_str());
    }

    /// The session still uses itself after it has said this, so the rest comes later.
    static void wasCompleted(Question* self, gboolean gained) {
        self->isDone_ = self->isDone_ || gained != FALSE;
        self->callLater(g_main_context_get_thread_default(), proceed);
    }

    static gboolean proceed(void* data) {
        auto* self = static_cast<Question*>(data);
        if (self->isDone_) {
            self->finish(false);
        } else {
            self->answer();
        }
        return G_SOURCE_REMOVE;
    }

    /// Whoever asked polkit has gone.
    static void wasCancelled(Question* self) {
        self->isDone_ = true;
        if (self->session_) {
            polkit_agent_session_cancel(self->session_.get());
        }
    }

    Answering& answering_;
    std::thread thinking_;
    PolkitAnswer answer_;
    Owned<GTask> task_;
    std::string cookie_;
    std::vector<uid_t> administrators_;
    Owned<PolkitAgentSession> session_;
    const std::string* password_ = nullptr;
    gulong cancelled_ = 0;
    int attempt_ = 0;
    bool isDone_ = false;
};

// ---- The object that polkit's library calls ----------------------------------------------------

struct Listener {
    PolkitAgentListener parent;
    Answering* answering;
};

/// What polkit itself tells of a question.
PolkitQuestion questionOf(const char* action, PolkitDetails* details) {
    const char* asker = polkit_details_lookup(details, "polkit.caller-pid");
    return {action, asker == nullptr ? 0 : std::atoi(asker)};
}

void initiate(PolkitAgentListener* listener, const char* action, const char* /*message*/,
              const char* /*icon*/, PolkitDetails* details, const char* cookie, GList* identities,
              GCancellable* cancellable, GAsyncReadyCallback callback, void* data) {
    GTask* task = g_task_new(listener, cancellable, callback, data);
    // What was asked is answered even when nobody waits any more, so that it is done with.
    g_task_set_check_cancellable(task, FALSE);
    auto& answering = *reinterpret_cast<Listener*>(listener)->answering;
    if (!answering.filter(questionOf(action, details))) {
        g_task_return_new_error(task, POLKIT_ERROR, POLKIT_ERROR_NOT_AUTHORIZED,
                                "not for this agent");
        g_object_unref(task);
        return;
    }
    (new Question(answering, task, cookie, identities))->answer();
}

gboolean finishInitiating(PolkitAgentListener* /*listener*/, GAsyncResult* result, GError** error) {
    return g_task_propagate_boolean(G_TASK(result), error);
}

void initializeListenerClass(void* type, void* /*data*/) {
    auto* listenerClass = static_cast<PolkitAgentListenerClass*>(type);
    listenerClass->initiate_authentication = initiate;
    listenerClass->initiate_authentication_finish = finishInitiating;
}

Owned<PolkitAgentListener> makeListener(Answering& answering) {
    static const GType type = g_type_register_static_simple(
        POLKIT_AGENT_TYPE_LISTENER, "QFPolkitAgentListener", sizeof(PolkitAgentListenerClass),
        initializeListenerClass, sizeof(Listener), nullptr, GTypeFlags{});
    auto* listener = static_cast<Listener*>(g_object_new(type, nullptr));
    listener->answering = &answering;
    return Owned<PolkitAgentListener>(&listener->parent);
}

// ---- The agent's thread ------------------------------------------------------------------------

/// Makes a context this thread's own for a scope: what is called back is called here.
class ThreadContext {
public:
    explicit ThreadContext(GMainContext* context) : context_(context) {
        g_main_context_push_thread_default(context_);
    }
    ~ThreadContext() { g_main_context_pop_thread_default(context_); }
    ThreadContext(const ThreadContext&) = delete;
    ThreadContext& operator=(const ThreadContext&) = delete;
    ThreadContext(ThreadContext&&) = delete;
    ThreadContext& operator=(ThreadContext&&) = delete;

private:
    GMainContext* context_;
};

/// Has polkit put its questions about a process to this agent, for a scope.
class Registration {
public:
    Registration(Answering& answering, pid_t process)
        : bus_(systemBus()), listener_(makeListener(answering)),
          handle_(bus_ ? add(listener_.get(), process) : nullptr) {}
    ~Registration() {
        if (handle_ != nullptr) {
            polkit_agent_listener_unregister(handle_);
        }
    }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;
    Registration(Registration&&) = delete;
    Registration& operator=(Registration&&) = delete;

    bool isAccepted() const { return handle_ != nullptr; }
    GDBusConnection* bus() const { return bus_.get(); }

private:
    static void* add(PolkitAgentListener* listener, pid_t process) {
        const Owned<PolkitSubject> subject(
            polkit_unix_process_new_for_owner(process, 0, static_cast<int>(::getuid())));
        return polkit_agent_listener_register(
            listener, POLKIT_AGENT_REGISTER_FLAGS_NONE, subject.get(),
            "/com/quillfen/QFUtil/AuthenticationAgent", nullptr, nullptr);
    }

    const Owned<GDBusConnection> bus_;
    const Owned<PolkitAgentListener> listener_;
    void* const handle_;
};

/// Hangs up, for a scope, once the bus cannot be read any more: GLib keeps the socket, so that
/// polkit would wait for an answer for good, and whoever asked it.
class HangUp {
public:
    HangUp(GMainContext* context, GDBusConnection* bus) : timer_(g_timeout_source_new_seconds(1)) {
        g_source_set_callback(timer_, G_SOURCE_FUNC(&HangUp::look), bus, nullptr);
        g_source_attach(timer_, context);
    }
    ~HangUp() {
        g_source_destroy(timer_);
        g_source_unref(timer_);
    }
    HangUp(const HangUp&) = delete;
    HangUp& operator=(const HangUp&) = delete;
    HangUp(HangUp&&) = delete;
    HangUp& operator=(HangUp&&) = delete;

private:
    static gboolean look(GDBusConnection* bus) {
        if (g_dbus_connection_is_closed(bus) == FALSE) {
            return G_SOURCE_CONTINUE;
        }
        g_io_stream_close(g_dbus_connection_get_stream(bus), nullptr, nullptr);
        return G_SOURCE_REMOVE;
    }

    GSource* timer_;
};

/// Answers what has come in by now.
void answerTheRest(GMainContext* context, const Answering& answering) {
    bool isOpen = true;
    while (isOpen) {
        const bool hasWorked = g_main_context_iteration(context, answering.open > 0) != FALSE;
        isOpen = hasWorked || answering.open > 0;
    }
}

} // namespace

bool isPolkitAvailable() {
    const auto bus = systemBus();
    if (!bus) {
        return false;
    }
    constexpr int useDefaultLimit = -1;
    const OwnedVariant reply(g_dbus_connection_call_sync(
        bus.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "StartServiceByName", g_variant_new("(su)", "org.freedesktop.PolicyKit1", 0U), nullptr,
        G_DBUS_CALL_FLAGS_NONE, useDefaultLimit, nullptr, nullptr));
    return reply != nullptr;
}

// ---- The agent ---------------------------------------------------------------------------------

struct PolkitAgent::Loop {
    GMainContext* context = g_main_context_new();
    GMainLoop* loop = g_main_loop_new(context, FALSE);

    Loop() = default;
    ~Loop() {
        g_main_loop_unref(loop);
        g_main_context_unref(context);
    }
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;
    Loop(Loop&&) = delete;
    Loop& operator=(Loop&&) = delete;
};

PolkitAgent::PolkitAgent(pid_t process, PolkitAnswerer answerer, PolkitFilter filter)
    : answerer_(std::move(answerer)), filter_(std::move(filter)), loop_(std::make_unique<Loop>()) {
    std::promise<bool> registered;
    auto result = registered.get_future();
    thread_ = std::thread([this, process, &registered] { run(process, registered); });
    registered_ = result.get();
}

PolkitAgent::~PolkitAgent() {
    // Asked of the loop itself, for it may not have begun to run.
    g_main_context_invoke(
        loop_->context,
        [](void* loop) {
            g_main_loop_quit(static_cast<GMainLoop*>(loop));
            return G_SOURCE_REMOVE;
        },
        loop_->loop);
    thread_.join();
}

void PolkitAgent::run(pid_t process, std::promise<bool>& registered) {
    const ThreadContext context(loop_->context);
    Answering answering{answerer_, filter_};
    {
        const Registration registration(answering, process);
        std::optional<HangUp> hangUp;
        if (registration.isAccepted()) {
            hangUp.emplace(loop_->context, registration.bus());
        }
        registered.set_value(registration.isAccepted());
        g_main_loop_run(loop_->loop);
    }
    answerTheRest(loop_->context, answering);
}

} // namespace qf::native
