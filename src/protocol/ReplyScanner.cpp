#include "protocol/ReplyScanner.h"

#include <algorithm>
#include <cctype>
#include <climits>

ReplyScanner::ReplyScanner(const QString& line, int start)
    : m_line(line), m_pos(qMin(qMax(start, 0), int(line.size()))) {}

void ReplyScanner::skipBlanks() {
    while (m_pos < m_line.size() && m_line.at(m_pos).isSpace())
        ++m_pos;
}

bool ReplyScanner::atEnd() const {
    for (int i = m_pos; i < m_line.size(); ++i) {
        if (!m_line.at(i).isSpace())
            return false;
    }
    return true;
}

bool ReplyScanner::scanInt(int& value) {
    const int start = m_pos;
    skipBlanks();
    int i = m_pos;
    bool negative = false;
    if (i < m_line.size() &&
        (m_line.at(i) == QLatin1Char('-') || m_line.at(i) == QLatin1Char('+'))) {
        negative = m_line.at(i) == QLatin1Char('-');
        ++i;
    }
    const int digitsStart = i;
    long long acc = 0;
    while (i < m_line.size() && m_line.at(i).isDigit() && m_line.at(i).unicode() < 128) {
        if (acc <= INT_MAX)
            acc = acc * 10 + (m_line.at(i).unicode() - '0');
        ++i;
    }
    if (i == digitsStart) {
        m_pos = start;
        return false;
    }
    if (negative)
        acc = -acc;
    value = int(std::clamp<long long>(acc, INT_MIN, INT_MAX));
    m_pos = i;
    return true;
}

bool ReplyScanner::scanHexInt(unsigned& value) {
    const int start = m_pos;
    skipBlanks();
    int i = m_pos;
    if (i + 2 < m_line.size() && m_line.at(i) == QLatin1Char('0') &&
        (m_line.at(i + 1) == QLatin1Char('x') || m_line.at(i + 1) == QLatin1Char('X')) &&
        std::isxdigit(static_cast<unsigned char>(m_line.at(i + 2).toLatin1())))
        i += 2;
    const int digitsStart = i;
    unsigned long long acc = 0;
    while (i < m_line.size() && m_line.at(i).unicode() < 128 &&
           std::isxdigit(static_cast<unsigned char>(m_line.at(i).toLatin1()))) {
        if (acc <= 0xffffffffULL) {
            const char c = m_line.at(i).toLatin1();
            const int digit = c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
            acc = acc * 16 + unsigned(digit);
        }
        ++i;
    }
    if (i == digitsStart) {
        m_pos = start;
        return false;
    }
    value = unsigned(qMin<unsigned long long>(acc, 0xffffffffULL));
    m_pos = i;
    return true;
}

bool ReplyScanner::scanHexInt(int& value) {
    unsigned v = 0;
    if (!scanHexInt(v))
        return false;
    value = int(v);
    return true;
}

QList<int> ReplyScanner::scanAllInts() {
    QList<int> values;
    int v = 0;
    while (scanInt(v))
        values.append(v);
    return values;
}
