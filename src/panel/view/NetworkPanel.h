#pragma once

#include "link/NetworkLink.h"

#include <QGroupBox>
#include <QString>

class PanelController;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
struct PanelOptions;

// The unit tab's "Network" group: the network proxies that service discovery
// finds (the one used last, or the only one, is connected at once; with
// several the user chooses; choosing another reconnects), an entry to connect
// to a proxy by address where multicast does not reach, and a label for the
// link banner that says how the network link stands. The proxy in use is
// remembered for the next start. The logic is NetworkLink's; this class binds
// the widgets to it.
class NetworkPanel final : public QGroupBox {
    Q_OBJECT
public:
    // The user's settings key of the proxy used last (its service name).
    static constexpr const char* kKeyService = "NetworkService";

    explicit NetworkPanel(QWidget* parent = nullptr);
    ~NetworkPanel() override;

    // After the panel's start-up: route its commands over the network link
    // when that is connected, start browsing (unless the options turn service
    // discovery off) and connect to the options' host:port when one is given.
    void awakeFromNib(PanelController& controller, const PanelOptions& options);
    // The window is closing: the panel stops using the link.
    void windowClosing(PanelController& controller);

    NetworkLink& link() { return m_link; }
    // For the banner, beside the serial link's state.
    QLabel* stateLabel() const { return m_stateLabel; }
    QString stateText() const;
    // "host:port" from the entry; false when it does not parse.
    static bool parseHostPort(const QString& text, QString* host, quint16* port);

private:
    void refreshList();
    void showState();
    void connectEntered();

    NetworkLink m_link;
    QListWidget* m_list = nullptr;
    QLineEdit* m_hostEntry = nullptr;
    QPushButton* m_connectButton = nullptr;
    QLabel* m_stateLabel = nullptr;
};
