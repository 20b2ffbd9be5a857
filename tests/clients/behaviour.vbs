' What a VBScript client meets beside the ordinary: each failed expectation is a line, and the script leaves with 7 only
' when it got to its end without one.
Option Explicit

Const LX_VT = 12

Dim failures
failures = 0
Enumerating
LeavingParametersOut
Failing
ExchangingArrays
ReadingAndPutting
Orphaning
If failures = 0 Then WScript.Quit 7
WScript.Quit 1

Sub Expect(what, wanted, found)
    If wanted = found Then Exit Sub
    WScript.Echo what & ": expected " & wanted & ", found " & found
    failures = failures + 1
End Sub

' The error that the last statement left, and forgets it. It is read first: leaving a procedure clears it.
Sub ExpectError(what, number, source, description)
    Dim foundNumber, foundSource, foundDescription
    foundNumber = Hex(Err.Number)
    foundSource = Err.Source
    foundDescription = Err.Description
    Err.Clear
    Expect what & ", number", Hex(number), foundNumber
    Expect what & ", source", source, foundSource
    Expect what & ", description", description, foundDescription
End Sub

Function NewProject
    Set NewProject = CreateObject("Lumvex-Dev.Project")
    NewProject.SafeArrayType = LX_VT
End Function

' A measurement of a speaker of the configuration.
Function NewMeasurement(project, configuration)
    Dim library, model, modelConfig
    Set library = CreateObject("Lumvex-Dev.Specifications")
    Set model = library.Manufacturers.Add("Acme").Models.Add("Alpha")
    Set modelConfig = model.ModelConfigs.Add(library.Configs.FindName(configuration))
    Set project.Specifications = library
    Set NewMeasurement = project.SpeakerEQs.Add("Left", model).SpkrEQConfigs.Add(modelConfig).Measurements.Add("Sweep")
End Function

Sub Enumerating
    Dim project, data, datum, other, names
    Set project = NewProject
    Set data = project.Data
    For Each datum In data
        Expect "member of an empty collection", "none", datum.Name
    Next
    data.Add "a"
    data.Add "b"
    data.Add "c"
    For Each datum In data
        For Each other In data
            names = names & datum.Name & other.Name & " "
        Next
    Next
    Expect "nested loops", "aa ab ac ba bb bc ca cb cc ", names
    names = ""
    For Each datum In data
        names = names & datum.Name
        If datum.Name = "a" Then
            data.Remove 2
            data.Add "d"
        End If
    Next
    Expect "members when the loop began, without the removed one", "ac", names
    Expect "members left", 3, data.Count
End Sub

Sub LeavingParametersOut
    Dim project, speakers, rooms, sofa
    Set project = NewProject
    Set speakers = project.SpeakerEQs
    Expect "speaker without a model", "Unknown Spkr/Left", speakers.Add("Left").DisplayName
    Expect "speaker with none", "Unknown Spkr/Right", speakers.Add("Right", Nothing).DisplayName
    Expect "speaker by name alone", "Right", speakers.FindName("right").Name

    Set rooms = project.Rooms
    Set sofa = rooms.Add("Studio").Positions.Add("Sofa")
    Expect "descendant, searched by default", "Sofa", rooms.FindID(sofa.ID).Name
    Expect "descendant, not searched", True, IsEmpty(rooms.FindID(sofa.ID, 0))
    On Error Resume Next
    rooms.Add
    Expect "required parameter left out", True, Err.Number <> 0
    Err.Clear
    rooms.Add "one", "too many"
    Expect "one too many", True, Err.Number <> 0
    On Error Goto 0
    Expect "rooms after refused calls", 1, rooms.Count
End Sub

Sub Failing
    Dim project, templates, other
    Set project = NewProject
    Set templates = project.CrossoverConfigs.Item(1).SpkrEQDesigns
    templates.Add "Desk"
    On Error Resume Next
    templates.Add "desk"
    ExpectError "name taken", &H80040FA0, "", "An item with that name already exists in the collection"
    project.SaveFile
    ExpectError "nowhere to save", &H80040FA5, "Lumvex-Dev.Project.1", _
        "There is no current file open to save to. Use ""SaveAs\' instead."
    project.Data.FindNameExact "nobody"
    ExpectError "no such name", &H80040FAB, "", "The object could not be located."
    project.Data.Item 1
    Expect "index out of range", 5, Err.Number   ' E_INVALIDARG, as the language calls it
    Err.Clear
    project.Unheard
    Expect "no such member", 438, Err.Number
    Err.Clear
    project.SpeakerEQs.Add "Left", "no object"
    Expect "text for an object", 13, Err.Number
    Err.Clear
    project.OpenFile "C:\there is\no such.lvp"
    ExpectError "opening over changes", &H80040FAD, "Lumvex-Dev.Project.1", _
        "The new object has been modified before loading from the storage file"
    Set other = NewProject
    other.OpenFile "C:\there is\no such.lvp"
    Expect "no such folder", 76, Err.Number   ' STG_E_PATHNOTFOUND
    Err.Clear
    On Error Goto 0
    Expect "templates after the refusal", 1, templates.Count
End Sub

Sub ExchangingArrays
    Dim project, measurement, two(3, 1), three(3, 2), found, row, column, datum, texts
    Set project = NewProject
    Set measurement = NewMeasurement(project, "Bi amp")
    For row = 0 To 3
        For column = 0 To 1
            two(row, column) = CDbl(row + column / 4)
        Next
    Next
    measurement.Data = two
    two(0, 0) = 99
    found = measurement.Data
    Expect "kind of array", vbArray + vbVariant, VarType(found)
    Expect "kind of element", vbSingle, VarType(found(0, 0))
    Expect "bounds", "3 1", UBound(found, 1) & " " & UBound(found, 2)
    For row = 0 To 3
        For column = 0 To 1
            If row + column > 0 Then Expect "element", two(row, column), found(row, column)
        Next
    Next
    Expect "element changed after the put", 0, found(0, 0)

    On Error Resume Next
    measurement.Data = three
    ExpectError "three columns", &H80040FA2, "", "The array size does not match the number of output channels"
    texts = Array(0.5, "two")
    measurement.Data = texts
    ExpectError "one column of two", &H80040FA2, "", "The array size does not match the number of output channels"
    Set datum = project.Data.Add("free")
    datum.Data = Array(1, 2)    ' integers of 16 bits
    ExpectError "small integers in an array", &H80040FA7, "", "The Array contains a data type this program does not accept"
    datum.Data = texts
    ExpectError "text in an array", &H80040FA7, "", "The Array contains a data type this program does not accept"
    datum.Data = 1
    ExpectError "no array", &H80040FA4, "", "The parameter was not an array of variants"
    datum.Data = Null
    ExpectError "nothing known", &H80040FA4, "", "The parameter was not an array of variants"
    On Error Goto 0
    found = measurement.Data
    Expect "data after refused puts", 3.25, found(3, 1)

    datum.Data = Array(CLng(1), 70000, 0.5, CSng(-2.25))
    found = datum.Data
    Expect "numbers of every kind", "1 70000 0.5 -2.25", JoinFour(found)
    datum.Data = found
    Expect "what was got is put back", "1 70000 0.5 -2.25", JoinFour(datum.Data)
    datum.Data = Empty
    Expect "data taken away", True, IsEmpty(datum.Data)
End Sub

Function JoinFour(values)
    JoinFour = Replace(values(0) & " " & values(1) & " " & values(2) & " " & values(3), ",", ".")
End Function

Sub ReadingAndPutting
    Dim project, measurement, correction, moment, name
    Set project = NewProject
    Set measurement = NewMeasurement(project, "Tri amp")
    Expect "unsaved changes", True, project.Modified
    Expect "property called as a method", 48000, measurement.SampleRate()
    measurement.SampleRate = 96000
    Expect "number put", 96000, measurement.SampleRate
    measurement.Volume = "1.5"
    Expect "text put as a number", 1.5, measurement.Volume
    Expect "default property", "Sweep", "" & measurement
    name = "Gr" & Chr(246) & Chr(223) & "e"
    measurement.Name = name
    Expect "name beyond ASCII", name, measurement.Name

    moment = DateSerial(2001, 2, 3) + TimeSerial(4, 5, 6)
    measurement.Timestamp = moment
    Expect "kind of timestamp", vbDate, VarType(measurement.Timestamp)
    Expect "timestamp", moment, measurement.Timestamp
    Expect "year", 2001, Year(measurement.Timestamp)

    Set correction = measurement.Parent.Parent.Corrections.Add("Flat", measurement)
    correction.FiltChanDelayMs(6) = 2.5
    Expect "indexed property", "2.5 0", Replace(correction.FiltChanDelayMs(6) & " " & correction.FiltChanDelayMs(1), ",", ".")
    On Error Resume Next
    correction.FiltChanDelayMs(7) = 1
    Expect "index out of range", 5, Err.Number
    Err.Clear
    On Error Goto 0
    Expect "name of an array", "Smoothed Measurement", correction.DataName(1)
    Expect "name of no array", "", correction.DataName(2)

    Expect "same object", True, correction.Measurement Is measurement
    Expect "same, asked", 1, correction.Measurement.IsSame(measurement)
    Expect "no experiment", True, measurement.Experiment Is Nothing
    Set correction.Measurement = Nothing
    Expect "measurement taken off", True, correction.Measurement Is Nothing
    Expect "name not found", True, IsEmpty(project.Data.FindName("nobody"))
End Sub

Sub Orphaning
    Dim project, datum
    Set project = NewProject
    Set datum = project.Data.Add("left alone")
    Set project = Nothing
    Expect "name without a document", "left alone", datum.Name
    On Error Resume Next
    datum.Name = "renamed"
    ExpectError "change without a document", &H80040FA9, "", "Released higher level containers have orphaned object."
End Sub
