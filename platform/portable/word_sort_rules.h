// How the order of Windows differs from ICU's root collation, in ICU's rule syntax: "<" begins a new letter, "<<" an
// accent, "<<<" a case of the one before, "=" the same; "&" says after what. Everything else is ICU's own order.
#pragma once

namespace symbology_platform {

constexpr char16_t wordSortRules[] =
    // Scripts.
    u"[reorder Latn Grek Cyrl Armn Hira Hebr Arab Thai Zzzz Hang Hani]"
    // A middle dot is a symbol after l, too; Cyrillic short i is an accented letter (see below).
    u"[suppressContractions [\u00B7\u0387\u0418\u0438]]"
    // Special units: not compared here, see compareSpecials.
    u"&[first tertiary "
    u"ignorable]=\\'=\\-=֊=\u07F4=\u07F5=\u2010=\u2011=\u2012=\u2013=\u2014=\u2015=‧=⁃=⁻=₋=−=〜=〰=︱=︲"
    u"=﹘=﹣=＇=－"
    // Spaces and symbols.
    u"&\\ =\u205F<<\u202F<\u00A0<\\\t<\\\n<\\\v<\\\f<\\\r<\u2000=\u2002<\u2001=\u2003<\u2004<\u2005<\u2006"
    u"<\u2007<\u2008<\u2009<\u200A<\u200B<\\\u2028<\\\u2029<⁕<<⁖<<⁘<<⁙<<⁚<<⁛<\\!<<<！<<‼<<⁉<\\\"=⁍<<<＂<⁎<\\#=⁗<<<＃"
    u"<⁔<\\$=⁒<<<＄<⁐<\\%=⁏<<<％<⁌<\\&=⁋<<<＆<\\(<<<（<\\)<<<）<\\*<<<＊<<ˉ<<⁑<\\,<<<，<\\.=․<<<．<\\/<<<／"
    u"<\\:<<<：<\\;<<<；<\\?<<<？<<⁇<<⁈<\\@<<<＠<\\[<<<［<<⁅<\\\\<<<＼<\\]<<<］<<⁆<\\^=ˆ<<<＾<\\_<<<＿<\\`=ˋ"
    u"<<<｀<\\{<<<｛<\\|<<<｜<\\}<<<｝<\\~<<<～<¡<¦<¨<¯<´<<ˊ<¸<¿<ˇ<<˘<˙<˚<˛<˜<˝<‖<‗<‘<’<‚<‛<“<”"
    u"<„<‟<′<<″<<‶<<‴<<‷<‵<‸=⁊<‹=⁓<›<‽<‾<‿<¢<£<¤<¥<₱<₠<₣<₤<₥=₭<₦<₧<₨<₩<₯<₰<₮<₢<€<₡<₲<₳<₴<₵<₪<₫<₹<₺<ː<\\+"
    u"<<<＋<⁄<\\<<<<＜<\\=<<<＝<\\><<<＞<±<«<»<×<÷<§<©<¬<®<°<µ<¶<·<‥<…<†<‡<•<‣<‰<<‱<※<⁀<⁁<⁂<⁜<⁝<⁞"
    u"<\u0080<<*\u0081-\u0084<<\\\u0085<<*\u0086-\u009F"
    // Digits.
    u"&0<¼<½<¾&1<<<¹&2<<<²&3<<<³"
    // Digits of Arabic, Persian, Devanagari, Bengali and Thai are variants of ours.
    u"&0<<\u0660<<\u06F0<<\u0966<<\u09E6<<\u0E50&1<<\u0661<<\u06F1<<\u0967<<\u09E7<<\u0E51"
    u"&2<<\u0662<<\u06F2<<\u0968<<\u09E8<<\u0E52&3<<\u0663<<\u06F3<<\u0969<<\u09E9<<\u0E53"
    u"&4<<\u0664<<\u06F4<<\u096A<<\u09EA<<\u0E54&5<<\u0665<<\u06F5<<\u096B<<\u09EB<<\u0E55"
    u"&6<<\u0666<<\u06F6<<\u096C<<\u09EC<<\u0E56&7<<\u0667<<\u06F7<<\u096D<<\u09ED<<\u0E57"
    u"&8<<\u0668<<\u06F8<<\u096E<<\u09EE<<\u0E58&9<<\u0669<<\u06F9<<\u096F<<\u09EF<<\u0E59"
    // Accents.
    u"&[first primary ignorable]<<\u030D<<\u0301<<\u0300<<\u0307<<\u0302<<\u0308<<\u030C<<\u0306<<\u0304<<\u0303"
    u"<<\u030A<<\u0328<<\u0327<<\u030B<<\u0335=\u0336<<\u0337<<\u0338<<\u0305<<\u0309<<\u030E<<\u030F<<\u0310"
    u"<<\u0311<<\u0312<<\u0313<<\u0314<<\u0315<<\u0316<<\u0317<<\u0318<<\u0319<<\u031A<<\u031B<<\u031C<<\u031D"
    u"<<\u031E<<\u031F<<\u0320<<\u0321<<\u0322<<\u0323<<\u0324<<\u0325<<\u0326<<\u0329<<\u032A<<\u032B<<\u032C"
    u"<<\u032D<<\u032E<<\u032F<<\u0330<<\u0331<<\u0332<<\u0333<<\u0334<<\u0339<<\u033A<<\u033B<<\u033C<<\u033D"
    u"<<\u033E<<\u033F<<\u0342<<\u0345"
    // Accented letters that have no decomposition.
    u"&a\u030D<<ª&o\u030D<<º&i\u030D<<ı&k\u030D<<ĸ&n\u0313=ŉ&l\u0307<<ŀ<<<Ŀ&d\u0334<<ð<<<Ð"
    // And one that ICU does not decompose.
    u"&и\u0306=й&И\u0306=Й"
    // Letters that are other letters in one sign.
    u"&ss=ß&ae=æ&AE=Æ&oe=œ&OE=Œ&ij=ĳ&IJ=Ĳ&th=þ&TH=Þ&ff=ﬀ&fi=ﬁ&fl=ﬂ&ffi=ﬃ&ffl=ﬄ&st=ﬆ"
    // Letters of their own.
    u"&s<ſ&t<ŧ<<<Ŧ"
    // Hebrew final forms come before the others.
    u"&[before 3]\u05DB<<<\u05DA&[before 3]\u05DE<<<\u05DD&[before 3]\u05E0<<<\u05DF&[before 3]\u05E4<<<\u05E3"
    u"&[before 3]\u05E6<<<\u05E5";

}  // namespace symbology_platform
