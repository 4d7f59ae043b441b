#include "panel/view/NetworkPanel.h"

#include "panel/PanelController.h"
#include "panel/view/qz62View.h"

#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSettings>
#include <QSignalBlocker>

NetworkPanel::NetworkPanel(QWidget* parent) : QGroupBox(QStringLiteral("Network"), parent) {
    setObjectName(QStringLiteral("groupNetwork"));
    auto* layout = new QGridLayout(this);
    m_list = new QListWidget;
    m_list->setObjectName(QStringLiteral("theTableView"));
    m_list->setToolTip(QStringLiteral("Network proxies of the unit found on this network; "
                                      "choose one to connect to it"));
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    // A few rows are enough; the log below gets the height.
    m_list->setMaximumHeight(m_list->fontMetrics().height() * 5);
    layout->addWidget(m_list, 0, 0, 1, 3);
    auto* hostLabel = new QLabel(QStringLiteral("&Host"));
    m_hostEntry = new QLineEdit;
    m_hostEntry->setObjectName(QStringLiteral("textConnectHost"));
    m_hostEntry->setPlaceholderText(QStringLiteral("host:port of a proxy, where it is not found"));
    m_hostEntry->setClearButtonEnabled(true);
    hostLabel->setBuddy(m_hostEntry);
    m_connectButton = new QPushButton(QStringLiteral("Connect to host:port"));
    m_connectButton->setObjectName(QStringLiteral("buttonConnectHost"));
    layout->addWidget(hostLabel, 1, 0);
    layout->addWidget(m_hostEntry, 1, 1);
    layout->addWidget(m_connectButton, 1, 2);
    layout->setColumnStretch(1, 1);

    m_stateLabel = new QLabel;
    m_stateLabel->setObjectName(QStringLiteral("labelNetworkState"));
    m_stateLabel->setTextFormat(Qt::PlainText);

    connect(&m_link, &NetworkLink::servicesChanged, this, &NetworkPanel::refreshList);
    connect(&m_link, &NetworkLink::selectedRowChanged, this, [this](int row) {
        const QSignalBlocker block(m_list);
        m_list->setCurrentRow(row);
    });
    connect(&m_link, &NetworkLink::stateChanged, this, &NetworkPanel::showState);
    connect(m_list, &QListWidget::currentRowChanged, this, [this](int row) {
        if (row >= 0 && row != m_link.selectedRow())
            m_link.serviceTableClickedAction(row);
    });
    // A click on the row in use connects again once its stream is lost.
    connect(m_list, &QListWidget::itemClicked, this, [this](QListWidgetItem* item) {
        const NetworkLink::State state = m_link.state();
        if (state != NetworkLink::State::Connected && state != NetworkLink::State::Connecting)
            m_link.serviceTableClickedAction(m_list->row(item));
    });
    connect(m_connectButton, &QPushButton::clicked, this, &NetworkPanel::connectEntered);
    connect(m_hostEntry, &QLineEdit::returnPressed, this, &NetworkPanel::connectEntered);
    showState();
}

NetworkPanel::~NetworkPanel() = default;

void NetworkPanel::awakeFromNib(PanelController& controller, const PanelOptions& options) {
    controller.setNetworkLink(&m_link);
    // The proxy used last is connected again as soon as it is found.
    m_link.setPreferredService(QSettings().value(QLatin1String(kKeyService)).toString());
    connect(&m_link, &NetworkLink::serviceConnected, this,
            [](const QString& name) { QSettings().setValue(QLatin1String(kKeyService), name); });
    m_link.startBrowsing(options.serviceDiscovery ? std::make_unique<ServiceBrowser>() : nullptr);
    if (!options.networkHost.isEmpty()) {
        m_hostEntry->setText(options.networkHost);
        connectEntered();
    }
}

void NetworkPanel::windowClosing(PanelController& controller) {
    controller.setNetworkLink(nullptr);
    m_link.closeStreams();
}

bool NetworkPanel::parseHostPort(const QString& text, QString* host, quint16* port) {
    const QString t = text.trimmed();
    const qsizetype colon = t.lastIndexOf(QLatin1Char(':'));
    if (colon <= 0)
        return false;
    bool ok = false;
    const uint number = t.mid(colon + 1).toUInt(&ok);
    if (!ok || number == 0 || number > 65535)
        return false;
    QString name = t.left(colon);
    if (name.startsWith(QLatin1Char('[')) && name.endsWith(QLatin1Char(']')))
        name = name.mid(1, name.size() - 2); // [IPv6 address]
    *host = name;
    *port = quint16(number);
    return true;
}

void NetworkPanel::connectEntered() {
    QString host;
    quint16 port = 0;
    if (!parseHostPort(m_hostEntry->text(), &host, &port)) {
        m_stateLabel->setText(QStringLiteral("Network: enter the proxy as host:port"));
        return;
    }
    {
        const QSignalBlocker block(m_list);
        m_list->clearSelection();
        m_list->setCurrentRow(-1);
    }
    m_link.connectToHost(host, port);
}

void NetworkPanel::refreshList() {
    const QSignalBlocker block(m_list);
    m_list->clear();
    for (const NetService& service : m_link.services()) {
        auto* item = new QListWidgetItem(service.name, m_list);
        item->setToolTip(QStringLiteral("%1 port %2").arg(service.host).arg(service.port));
    }
    m_list->setCurrentRow(m_link.selectedRow());
}

QString NetworkPanel::stateText() const {
    const QString detail = m_link.stateDetail();
    switch (m_link.state()) {
    case NetworkLink::State::Unavailable:
        return QStringLiteral("Network: service discovery unavailable");
    case NetworkLink::State::Searching:
        return QStringLiteral("Network: searching");
    case NetworkLink::State::Found:
        return m_link.services().size() == 1
                   ? QStringLiteral("Network: 1 proxy found")
                   : QStringLiteral("Network: %1 proxies found").arg(m_link.services().size());
    case NetworkLink::State::Choose:
        return QStringLiteral("Network: %1 units found: choose one on the Unit tab")
            .arg(m_link.services().size());
    case NetworkLink::State::Connecting:
        return QStringLiteral("Network: connecting to %1").arg(detail);
    case NetworkLink::State::Connected:
        return QStringLiteral("Network: connected to %1").arg(detail);
    case NetworkLink::State::Lost:
        return QStringLiteral("Network: lost (%1)").arg(detail);
    }
    return QString();
}

void NetworkPanel::showState() {
    const QString text = stateText();
    m_stateLabel->setText(text);
    m_stateLabel->setToolTip(
        m_link.state() == NetworkLink::State::Unavailable ? m_link.discoveryError() : QString());
}
