#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantHash>
#include <memory>

class MainWindow;
class MessageBoxPresenter;
struct PanelOptions;
class ServiceAnnouncer;
class SimulatedUnit;
class SimUnitOutput;
class SingleInstance;
class UnitOutputWindow;

// What `qz62 [options] [FILE...]` asks for.
struct StartupOptions {
    bool simulator = false;
    bool simulatorNetwork = false; // a simulated unit behind the network proxy's protocol
    QString networkHost;           // connect to this network proxy (host:port)
    QString port;                  // explicit serial port
    QString screenshots;           // save pictures of the window here, then quit
    QString instance;              // separates independent running applications
    QString midiIn;                // part of a source's name
    QString midiOut;               // part of a destination's name
    QVariantHash sheetDefaults;    // new sheets' options for this run, by defaults key
    QStringList files;
};

// Reads the command line and brings the application up as it says: the
// simulated unit or the given port, the main window, the MIDI ports asked for
// by name, and the files, each opened as File > Open or a drop would. Files
// that arrive later (a second start, the system's "open with") go the same way.
class AppStartup : public QObject {
    Q_OBJECT
public:
    enum class Parse { Run, Help, Version, Error };

    AppStartup();
    ~AppStartup() override;

    // `arguments` as QCoreApplication::arguments() gives them (program first).
    Parse parse(const QStringList& arguments);
    // The usage text (Help), or what was wrong (Error).
    QString message() const { return m_message; }
    const StartupOptions& options() const { return m_options; }

    // True when an application of this user (and instance) is already
    // running and took this start's files: this start should end. Never for
    // --screenshots, which always runs on its own.
    bool handOverToRunning();
    // Creates the window and connects everything; false (with message())
    // when the simulated unit cannot start.
    bool start();
    MainWindow* window() const { return m_window.get(); }
    // View > Simulated Unit Output; null without --simulator.
    UnitOutputWindow* outputWindow() const { return m_outputWindow.get(); }

    void openFiles(const QStringList& paths);
    // Takes the window's parts down (MainWindow::windowClosing()); call once
    // the event loop has returned. The destructor does it too.
    void shutDown();

protected:
    // The system's "open with" on macOS arrives as a file-open event.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool startUnits(PanelOptions& panel);
    void buildOutputWindow();
    void choosePicture();

    StartupOptions m_options;
    QString m_message;
    // In the order they are made; they go in the reverse order, so the
    // window goes before what it talks to.
    std::unique_ptr<SingleInstance> m_instance;
    std::unique_ptr<SimulatedUnit> m_sim;
    std::unique_ptr<SimulatedUnit> m_networkSim;
    std::unique_ptr<ServiceAnnouncer> m_announcer;
    std::unique_ptr<MessageBoxPresenter> m_presenter;
    std::unique_ptr<MainWindow> m_window;
    std::unique_ptr<SimUnitOutput> m_output;
    std::unique_ptr<UnitOutputWindow> m_outputWindow;
};
