// What a JScript client meets beside the ordinary: each failed expectation is a line, and the script leaves with 7 only
// when it got to its end without one.
var LX_VT = 12;
var failures = 0;

function expect(what, wanted, found) {
    if (wanted === found) return;
    WScript.Echo(what + ": expected " + wanted + ", found " + found);
    ++failures;
}

function expectError(what, number, description, call) {
    try {
        call();
        expect(what, "an error", "none");
    } catch (error) {
        expect(what + ", number", number.toString(16), (error.number < 0 ? error.number + 0x100000000 : error.number).toString(16));
        expect(what + ", message", description, error.message);
        expect(what + ", description", description, error.description);
    }
}

function newProject() {
    var project = new ActiveXObject("Lumvex-Dev.Project");
    project.SafeArrayType = LX_VT;
    return project;
}

// An array that other programs understand; the language's own are objects.
function arrayOf(values) {
    var dictionary = new ActiveXObject("Scripting.Dictionary");
    for (var n = 0; n < values.length; ++n) dictionary.Add(n, values[n]);
    return dictionary.Items();
}

function enumerating() {
    var project = newProject();
    var data = project.Data;
    data.Add("a");
    data.Add("b");
    data.Add("c");
    var names = "";
    var each = new Enumerator(data);
    for (; !each.atEnd(); each.moveNext()) {
        names += each.item().Name;
        if (each.item().Name == "a") data.Remove(2);
    }
    expect("members when the loop began, without the removed one", "ac", names);
    each.moveFirst();
    expect("first again", "a", each.item().Name);
    expect("members left", 2, data.Count);
}

function callingGetsAsMethods() {
    var project = newProject();
    expect("property as a method", 0, project.Data().Count());
    var datum = project.Data().Add("free");
    expect("name as a method", "free", datum.Name());
    expect("indexed property", "free", project.Data.Item(1).Name);
    expect("default value", "free", "" + datum);
    expect("flag", true, project.Modified);
    expect("kind of flag", "boolean", typeof project.Modified);
    expect("name not found", undefined, project.Data.FindName("nobody"));
    expect("no library", null, project.Specifications);
    datum.Name = "\u9CF3 \uD83D\uDD0A";
    expect("name beyond the code page", "\u9CF3 \uD83D\uDD0A", datum.Name);
    expect("number for a name", "7", project.Data.Add(7).Name);
}

function leavingParametersOut() {
    var project = newProject();
    expect("speaker without a model", "Unknown Spkr/Left", project.SpeakerEQs.Add("Left").DisplayName);
    expect("speaker with none", "Unknown Spkr/Right", project.SpeakerEQs.Add("Right", null).DisplayName);
    var rooms = project.Rooms;
    var sofa = rooms.Add("Studio").Positions.Add("Sofa");
    expect("descendant, searched by default", "Sofa", rooms.FindID(sofa.ID).Name);
    expect("descendant, not searched", undefined, rooms.FindID(sofa.ID, false));
}

function failing() {
    var project = newProject();
    var templates = project.CrossoverConfigs.Item(1).SpkrEQDesigns;
    templates.Add("Desk");
    expectError("name taken", 0x80040FA0, "An item with that name already exists in the collection", function () {
        templates.Add("desk");
    });
    expectError("nowhere to save", 0x80040FA5, "There is no current file open to save to. Use \"SaveAs\\' instead.", function () {
        project.SaveFile();
    });
    expectError("array refused", 0x80040FA4, "The parameter was not an array of variants", function () {
        project.Data.Add("free").Data = 1;
    });
}

function exchangingArrays() {
    var project = newProject();
    var datum = project.Data.Add("free");
    datum.Data = arrayOf([1, 0.5, -70000]);
    var found = new VBArray(datum.Data);
    expect("dimensions", 1, found.dimensions());
    expect("bounds", "0 2", found.lbound() + " " + found.ubound());
    expect("elements", "1,0.5,-70000", found.toArray().join());
    datum.Data = datum.Data;
    expect("elements put back", 0.5, new VBArray(datum.Data).getItem(1));
    datum.Data = undefined;
    expect("data taken away", undefined, datum.Data);
}

function readingDates() {
    var before = new Date();
    var project = newProject();
    var made = new Date(project.Data.Add("free").Timestamp);
    expect("time of creation in whole seconds", true, made - before > -1000 && made - before < 60000);
}

enumerating();
callingGetsAsMethods();
leavingParametersOut();
failing();
exchangingArrays();
readingDates();
WScript.Quit(failures == 0 ? 7 : 1);
