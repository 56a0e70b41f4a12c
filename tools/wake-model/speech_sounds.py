"""Names that the synthesisers have for the sounds they speak, to the phones of the acoustic model."""
import phones

NAMES = phones.read_names()
STEP = 160              # samples for which one phone is written down
SILENCE, UNKNOWN = NAMES.index("SIL"), 255

# Two phones share the time of one sound.
ESPEAK = dict(pair.split(":=") for pair in """_:=SIL _::=SIL _!:=SIL n:=N n-:=N t:=T t2:=T t[:=T t#:=D s:=S I:=IH I2:=IH I#:=IH d:=D @:=AH
    @2:=AH @5:=AH a#:=AH V:=AH @L:=AH+L r:=R r-:=R k:=K l:=L E:=EH m:=M b:=B z:=Z v:=V 0:=AA A::=AA A@:=AA+R a:=AE aa:=AE p:=P
    f:=F D:=DH aI:=AY aI2:=AY aI3:=AY aI@:=AY+AH 3::=ER VR:=ER eI:=EY u::=UW w:=W w#:=W oU:=OW i::=IY i:=IY S:=SH
    j:=Y g:=G N:=NG h:=HH dZ:=JH tS:=CH O@:=AO+R o@:=AO+R aU:=AW O::=AO O2:=AO U:=UH U@:=UH+R T:=TH i@3:=IH+R i@:=IH+AH
    e@:=EH+R Z:=ZH OI:=OY""".split())
AMERICAN_ESPEAK = ESPEAK | {"3": "ER"}
FESTIVAL = {name.lower(): name for name in NAMES} | {"pau": "SIL", "h#": "SIL", "brth": "SIL", "ax": "AH", "axr": "ER", "dx": "D"}


def table_of(voice):
    """None for voices of other languages, whose sounds are not those of the model."""
    if voice.startswith(("flite-", "festival-")):
        return FESTIVAL
    if voice.startswith("en-us"):
        return AMERICAN_ESPEAK
    return ESPEAK if voice.startswith("en") else None


def as_phones(sounds, voice, seconds):
    """[(phone, begin in seconds)] of what a voice says it spoke as [(name, begin)] in so many seconds."""
    table = table_of(voice)
    if table is None:
        return [(UNKNOWN, 0.0)]
    out = [(SILENCE, 0.0)]
    for (name, begin), (_, end) in zip(sounds, sounds[1:] + [(None, seconds)]):
        found = table[name].split("+") if name in table else [None]
        for k, phone in enumerate(found):
            out.append((NAMES.index(phone) if phone else UNKNOWN, begin + (end - begin) * k / len(found)))
    return out
