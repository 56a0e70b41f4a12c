"""Texts the voices speak: the wake phrase in its surroundings, near-misses and plain English."""
import os
import random
import re
import zlib

PHRASE_FORMS = ["Hey Vessa", "Hey Vessa!", "Hey, Vessa", "Hey Vessa?", "hey Vessa."]

FOLLOW_ONS = ["what time is it", "open the browser", "turn the volume down", "read my messages",
              "take a note", "set a timer for ten minutes", "how are you", "stop", "scroll down please",
              "is it going to rain tomorrow", "close this window", "switch to the editor", "pause the music",
              "undo that", "search for cheap flights", "write an email to Anna", "never mind", "go back",
              "are you there", "help me with this"]
LEAD_INS = ["okay then.", "so I said to him.", "one moment.", "right.", "well.", "let me see.", "um.",
            "that is all for today.", "good morning.", "I am not sure about that."]

NEAR_MISSES = """hey Jessa|hey there|Vanessa|hey Vanessa|they guess a number|they guess a|hey Vesta|a vessel|the vessel
hey Tessa|hey|Vessa|Vessa is here|hey Nessa|hey Lessa|message|a message|hey message me|yes sir|hey yes sir|hey, yes
hey Becca|hey Vera|hey Vicky|hey Vince|hey Visa|hey Vella|hey Vesper|hey Wes|hey Jess|hey Tess|hey Bess|hey Melissa
hey Alexa|hey Clarissa|hey Lisa|hey Theresa|hey Vester|hey vest|hey Vegas|hey Eva|hey Ava|hey Ella|hey Della|hey Rebecca
hey professor|professor|the professor|lesser|the lesser evil|dresser|a pressure|compressor|processor|hey mister|hey sister
they vest a|they invest a lot|heavy essay|have a seat|have a set|a vest and a hat|way better|may bless a child|hey ver|hey ves
hey guess what|hey listen|hey best friend|hey boss|hey buddy|hey Victor|hey vendor|hey venue|hey very good|hey vet|hey Venice
day vessels|play the rest of it|say less of that|stay restless|the investor|hey investor|harvester|heavy sir|hey vassal|hey Vassar
eight of us are here|hey everybody|hey everyone|hey essay|essay|hey Esther|hey Elsa|hey Vissa|hey Vossa|hey Vetta|hey Vecca
hey, is a test|hey is she there|make a mess of it|hay|a bale of hay|hey hey hey|hey you|hey what is that|a festival|hey festival
hi Vessa|oh Vessa|the Vessa|and Vessa|my Vessa|hi Jessa|ok Vessa|no Vessa|Vessa Vessa|hello Vessa|vessels of the navy""".replace("\n", "|").split("|")

SUBJECTS = "I|you|we|they|he|she|the teacher|my brother|the neighbours|a friend of mine|the driver|our team|the doctor|nobody|the company|her cousin|that man|every child|the editor|some visitors".split("|")
VERBS = "saw|found|bought|forgot|described|moved|cleaned|watched|sold|carried|fixed|opened|lost|noticed|painted|ordered|borrowed|mentioned|invented|visited|measured|followed|guessed|addressed|assessed|expressed|blessed|wanted|needed|missed".split("|")
OBJECTS = "the red car|a box of apples|seven letters|an old radio|the kitchen table|those pictures|the last train|a heavy suitcase|some fresh bread|the silver vase|a very long story|the printer|two tickets|every single page|the blue folder|a glass of water|the garden fence|his favourite song|an essay about rivers|the western road|a violin lesson|the vessel|a velvet dress|the office lights|a clever answer|the best recipe|a dozen eggs|the password|a cheap guitar|an umbrella".split("|")
PLACES = "in the morning|yesterday|at the station|near the river|before lunch|on Wednesday|after the meeting|in Venice|at seven o'clock|behind the house|for the first time|without saying a word|in the west|during the festival|last September|at the university|over the weekend|under the bridge|because it was raining|when the phone rang".split("|")
COMMANDS = "open the {} folder|please delete the {} file|search for {} on the web|play some {} music|what does {} mean|remind me about the {} tonight|turn off the {} light|send a message about the {}|how do I spell {}|where is the nearest {}|close the {} window|copy the {} line|show me the {} settings|add {} to my list|is the {} ready yet|call the {} office|I think the {} is broken|tell me a story about a {}|the {} was excellent|have you ever seen a {}".split("|")
WORDS = "kitchen|garden|project|weather|vector|version|session|lesson|message|vegetable|holiday|village|violin|summer|desktop|budget|report|picture|market|printer|battery|window|camera|recipe|dinner|jazz|classical|piano|bus|ticket|hospital|airport|essay|estimate|mattress|success|address|progress|process|fossil|whistle|castle|measure|treasure|pleasure|leather|feather|heaven|seven|eleven|level|devil|gravel|travel|novel|marvel|river|silver|cover|liver|fever|clever|never|ever|over|wave|save|brave|cave|navy|gravy|heavy|levy|chess|press|dress|stress|guess|yes|less|bless|mess|west|best|test|nest|guest|forest|harvest|invest|harness|witness|business|lettuce|service|novice|office|justice|practice|tennis|bus|focus|virus|bonus|census|salsa|pasta|sofa|extra|china|data|pizza|visa|villa|vanilla|umbrella|camera|america|africa|banana|panda|comma|drama|opera|alpha|omega|sauna|tuna|yoga|zebra|gorilla".split("|")
SMALL_TALK = """how was your day|see you tomorrow|thanks a lot|that sounds great|I have no idea|could you say that again
let us have a coffee|it is getting late|what a lovely day|did you sleep well|I would rather stay at home|no problem at all
hey, how is it going|hey, come over here|hey, that is mine|hey, wait for me|hey, did you hear that|hey man, what is up
they have a seventh guest|he was never there|say it again|the day was very sunny|may I have a sandwich|they never said a word
stay away from the vessel|we invested everything|the weather is better|they have a set of keys|the jury was asked to rest
it is a very messy desk|that is a separate question|half past seven|leave a message after the tone|yes, of course
his vest and her dress|he pays for everything|a new version has been released|she says that every day|let me check|sure thing""".replace("\n", "|").split("|")

LICENCES = {"train": ["GPL-3", "GFDL-1.3", "LGPL-2.1"], "dev": ["Apache-2.0"], "test": ["MPL-2.0", "CC0-1.0", "Artistic"]}
DICTIONARY = "/usr/share/pocketsphinx/model/en-us/cmudict-en-us.dict"
ONSETS = "b|d|f|g|h|k|l|m|n|p|r|s|t|v|w|ch|sh|th|st|tr|br|pl|gr|fl|sk|j|z|".split("|")
VOWELS = "a|e|i|o|u|ee|oo|ai|ou|ar|or|er".split("|")
CODAS = "|n|s|t|l|m|k|r|st|nd|ss|d|v|x".split("|")


def words_before_phrase(text):
    """How many words of other talk a text of the phrase begins with."""
    lead_in = next((lead for lead in LEAD_INS if text.startswith(lead + " ")), "")
    return len(lead_in.split())


def licence_sentences(split):
    """Prose that is on every Debian system, as test and training reading matter."""
    out = []
    for name in LICENCES[split]:
        path = os.path.join("/usr/share/common-licenses", name)
        if not os.path.exists(path):
            continue
        text = re.sub(r"\s+", " ", open(path, encoding="utf-8", errors="ignore").read())
        text = re.sub(r"[^A-Za-z0-9,.;:'() -]", " ", text)
        words = text.split()
        out += [" ".join(words[i:i + 14]) for i in range(0, len(words) - 14, 14)]
    return out


def pseudo_word(rng):
    return "".join(rng.choice(ONSETS) + rng.choice(VOWELS) + rng.choice(CODAS) for _ in range(rng.choice([1, 2, 2, 3])))


def abroad(rng, hey):
    """Readable to Czech and Finnish letter-to-sound rules: no matter what it means."""
    if rng.random() < 0.3:
        return rng.choice(SMALL_TALK).lower().replace("w", "v").replace("x", "ks").replace("q", "k").replace("hey", hey)
    return " ".join("".join(rng.choice("bdfghjklmnprstv") + rng.choice("aeiou") + rng.choice(["", "", "n", "s", "l", "r", "t"])
                            for _ in range(rng.choice([1, 2, 2, 3]))) for _ in range(rng.choice([2, 4, 6])))


def abroad_near(rng, hey):
    word = rng.choice("jesa|tesa|nesa|lesa|vesta|vanesa|vera|visa|vela|vosa|vasa|ves|ve|vej|pes|leva|eva|ava|melisa|profesor|mesič|veka|veta|esa"
                      "|dej|mesa mi|vesele|tam|kdo je to|vasara|vestu|beka|sesta|sestra".replace("č", "c").split("|"))
    word = "".join(rng.choice("bdfghjklmnprstv") + rng.choice("aeiou") for _ in range(2)) if rng.random() < 0.3 else word
    if word == "vesa":
        word = "vela"
    lead = rng.choice([hey, hey, hey, hey + ",", "a", "ten", ""])
    return f"{lead} {word}" + (" " + abroad(rng, hey) if rng.random() < 0.4 else "")


class Lexicon:
    """A share of the words of the pronouncing dictionary, and those of them that sound a little like "Vessa"."""

    ALIKE = re.compile(r"^((\w+ )?[VBFWM]|DH|\w+ [PLRTDN]) (EH|IH|AE|EY|AH) (S|Z|SH|TH|T S)( (AH|ER|IH|AO|OW|IY|L|M|T|T ER|AH \w+))?$")

    def __init__(self, split):
        self.words, self.alike = [], []
        for line in open(DICTIONARY, encoding="utf-8", errors="ignore"):
            word, phones = line.strip().split(" ", 1)
            if not word.isalpha() or word in ("vessa", "vesa", "wessa") or phones.endswith("V EH S AH"):
                continue
            share = zlib.crc32(word.encode()) % 10             # each word is read in one split only
            if split == ("train" if share < 6 else "dev" if share < 7 else "test"):
                self.words.append(word)
                if self.ALIKE.match(phones):
                    self.alike.append(word)


def generic(rng: random.Random, prose, lexicon):
    k = rng.random()
    if k < 0.20:
        return " ".join([rng.choice(SUBJECTS), rng.choice(VERBS), rng.choice(OBJECTS), rng.choice(PLACES)])
    if k < 0.32:
        return rng.choice(COMMANDS).format(rng.choice(WORDS))
    if k < 0.40:
        return rng.choice(SMALL_TALK)
    if k < 0.70:
        return " ".join(rng.choice(lexicon.words) for _ in range(6))
    if k < 0.76:
        return " ".join(pseudo_word(rng) for _ in range(5))
    return rng.choice(prose)


def near_miss(rng: random.Random, lexicon):
    k = rng.random()
    if k < 0.40:
        text = rng.choice(NEAR_MISSES)
    elif k < 0.50:
        text = "hey " + pseudo_word(rng)
    elif k < 0.60:
        text = "hey " + rng.choice(WORDS + lexicon.words[:len(WORDS)])
    elif k < 0.90:
        text = rng.choice(["hey", "hey", "hey", "hey,", "a", "they", "say", "pay", "day"]) + " " + rng.choice(lexicon.alike)
    else:
        text = rng.choice(["say", "they", "way", "day", "may", "a", "the", "hi"]) + " " + rng.choice(NEAR_MISSES)
        if re.search(r"hey,? vessa", text, re.I):
            text = "hey there"
    return text + (", " + rng.choice(FOLLOW_ONS) if rng.random() < 0.4 else "")


CYRILLIC = dict(zip("abcdefghijklmnopqrstuvwxyz", "а б к д э ф г х и й к л м н о п к р с т у в в х ы з".split()))


def in_script(text, voice):
    """The text in the letters that the voice can read."""
    if "_ru_" not in voice:
        return text
    return "".join(CYRILLIC.get(c, c if c in " ,." else "") for c in text.lower())
