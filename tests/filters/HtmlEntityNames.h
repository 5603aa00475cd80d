// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QMap>
#include <QString>

namespace clipmule::kit {

/// The named character references of HTML 4, by code: a second list beside that of the resources.
[[nodiscard]] inline QMap<uint, QString> namesOfHtml4() {
    // Of consecutive characters, from the code on.
    struct Run {
        uint first;
        const char *names;
    };
    static constexpr Run runs[] = {
        {0x22, "quot"},
        {0x26, "amp"},
        {0x3C, "lt"},
        {0x3E, "gt"},
        {0xA0, "nbsp iexcl cent pound curren yen brvbar sect uml copy ordf laquo not shy reg "
               "macr deg plusmn sup2 sup3 acute micro para middot cedil sup1 ordm raquo frac14 "
               "frac12 frac34 iquest Agrave Aacute Acirc Atilde Auml Aring AElig Ccedil Egrave "
               "Eacute Ecirc Euml Igrave Iacute Icirc Iuml ETH Ntilde Ograve Oacute Ocirc Otilde "
               "Ouml times Oslash Ugrave Uacute Ucirc Uuml Yacute THORN szlig agrave aacute "
               "acirc atilde auml aring aelig ccedil egrave eacute ecirc euml igrave iacute "
               "icirc iuml eth ntilde ograve oacute ocirc otilde ouml divide oslash ugrave "
               "uacute ucirc uuml yacute thorn yuml"},
        {0x152, "OElig oelig"},
        {0x160, "Scaron scaron"},
        {0x178, "Yuml"},
        {0x192, "fnof"},
        {0x2C6, "circ"},
        {0x2DC, "tilde"},
        {0x391, "Alpha Beta Gamma Delta Epsilon Zeta Eta Theta Iota Kappa Lambda Mu Nu Xi Omicron "
                "Pi Rho"},
        {0x3A3, "Sigma Tau Upsilon Phi Chi Psi Omega"},
        {0x3B1, "alpha beta gamma delta epsilon zeta eta theta iota kappa lambda mu nu xi omicron "
                "pi rho sigmaf sigma tau upsilon phi chi psi omega"},
        {0x3D1, "thetasym upsih"},
        {0x3D6, "piv"},
        {0x2002, "ensp emsp"},
        {0x2009, "thinsp"},
        {0x200C, "zwnj zwj lrm rlm"},
        {0x2013, "ndash mdash"},
        {0x2018, "lsquo rsquo sbquo"},
        {0x201C, "ldquo rdquo bdquo"},
        {0x2020, "dagger Dagger bull"},
        {0x2026, "hellip"},
        {0x2030, "permil"},
        {0x2032, "prime Prime"},
        {0x2039, "lsaquo rsaquo"},
        {0x203E, "oline"},
        {0x2044, "frasl"},
        {0x20AC, "euro"},
        {0x2111, "image"},
        {0x2118, "weierp"},
        {0x211C, "real"},
        {0x2122, "trade"},
        {0x2135, "alefsym"},
        {0x2190, "larr uarr rarr darr harr"},
        {0x21B5, "crarr"},
        {0x21D0, "lArr uArr rArr dArr hArr"},
        {0x2200, "forall"},
        {0x2202, "part exist"},
        {0x2205, "empty"},
        {0x2207, "nabla isin notin"},
        {0x220B, "ni"},
        {0x220F, "prod"},
        {0x2211, "sum minus"},
        {0x2217, "lowast"},
        {0x221A, "radic"},
        {0x221D, "prop infin"},
        {0x2220, "ang"},
        {0x2227, "and or cap cup int"},
        {0x2234, "there4"},
        {0x223C, "sim"},
        {0x2245, "cong"},
        {0x2248, "asymp"},
        {0x2260, "ne equiv"},
        {0x2264, "le ge"},
        {0x2282, "sub sup nsub"},
        {0x2286, "sube supe"},
        {0x2295, "oplus"},
        {0x2297, "otimes"},
        {0x22A5, "perp"},
        {0x22C5, "sdot"},
        {0x2308, "lceil rceil lfloor rfloor"},
        {0x2329, "lang rang"},
        {0x25CA, "loz"},
        {0x2660, "spades"},
        {0x2663, "clubs"},
        {0x2665, "hearts diams"},
    };
    QMap<uint, QString> result;
    for (const Run &run : runs) {
        uint code = run.first;
        for (const QString &name : QString::fromLatin1(run.names).split(u' '))
            result.insert(code++, name);
    }
    return result;
}

} // namespace clipmule::kit
